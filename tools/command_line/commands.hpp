#pragma once

// The commands as the command line takes them. Each function adds one, with its options and what is to be done.

namespace CLI {
class App;
}

namespace nuv::tools {

void add_solve(CLI::App& app);
void add_lstsq(CLI::App& app);
void add_cond(CLI::App& app);
void add_inv(CLI::App& app);
void add_det(CLI::App& app);
void add_norm(CLI::App& app);
void add_residual(CLI::App& app);
void add_eig(CLI::App& app);
void add_svd(CLI::App& app);
void add_convert(CLI::App& app);
void add_make(CLI::App& app);
void add_info(CLI::App& app);
void add_describe(CLI::App& app);
void add_help(CLI::App& app);

}  // namespace nuv::tools
