#pragma once

namespace nuv::tools {

/// Binds the libraries as a solve would and tells which ones, from which files, on what processor and why.
void show_libraries();

}  // namespace nuv::tools
