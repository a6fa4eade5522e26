#pragma once

#include <string>

namespace nuv::tools {

/// Binds the libraries as a solve would and tells which ones, from which files, on what processor and why.
std::string library_report();

}  // namespace nuv::tools
