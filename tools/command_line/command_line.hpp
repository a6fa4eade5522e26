#pragma once

// The whole command line of nuv, for the program and for all that describes it.

#include <memory>
#include <string>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace nuv::tools {

/// The parser, which runs a command when it has parsed a command line of it.
std::unique_ptr<CLI::App> command_line();

/// What is wrong with the command line that the parser refused, and where to read on.
std::string usage_message(const CLI::App& app, const CLI::ParseError& error);

}  // namespace nuv::tools
