// What identifies the application to the cloud. The values are build-time data, kept scrambled in the program.
// Published through corvane/device/settings.h. Without memory the texts are empty.
#pragma once

#include <cstddef>
#include <string>

namespace harbex::corvane {

std::string get_app_id();      // 24 characters
std::string get_app_secret();  // 32 characters
std::string get_provider();    // 3 characters

// `length` characters: character i is table byte i XOR the low byte of i XOR `key`.
std::string deobfuscate(const unsigned char* table, size_t length, unsigned char key);

}  // namespace harbex::corvane
