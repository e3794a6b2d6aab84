// What the page may ask for besides bus calls: the words of harbexctl, run as a program.
#pragma once

#include <string>
#include <vector>

namespace console {

// Runs the action `name` with the words of a JSON array as its arguments and gives its one JSON document, in which no
// token stands. False for what is no action, or with other arguments than it takes. Blocks as long as the program
// runs.
bool run_action(const std::string& name, const std::vector<std::string>& words, std::string& document);

}  // namespace console
