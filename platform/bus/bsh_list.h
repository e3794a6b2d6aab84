// What `bsh --list` prints.
#pragma once

#include <string>

// Prints the names of the services that live, one a line, sorted. Exit status 0, or 2 with one line on standard
// error.
int list_services();

// Prints the methods of a service, one a line with its description, from the installed description of the bus
// (share/harbex/bus.schema.json beside the folder of this program). Exit status 0, or 2 with one line on standard
// error.
int list_methods(const std::string& service);
