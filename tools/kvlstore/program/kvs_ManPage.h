#pragma once

#include <string>

namespace CLI {
class App;
}

// The manual page and the completion for bash, made of the description of the command line, so that they never differ from it.

/// The manual page, in the macros of man(7).
[[nodiscard]] std::string kvs_ManPage(CLI::App const& program, std::string const& version);
/// A function for bash, and its registration: verbs, the options of each verb, and files.
[[nodiscard]] std::string kvs_BashCompletion(CLI::App const& program);
