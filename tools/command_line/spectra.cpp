#include "command_line/commands.hpp"

#include <fmt/format.h>

#include <string_view>

#include "command_line/options.hpp"
#include "eig.hpp"
#include "svd.hpp"

namespace nuv::tools {
namespace {

constexpr std::string_view about_eig =
    "If A is symmetric or Hermitian, whether its file says so or not, eigenvalues are shown in ascending order, and\n"
    "vectors are orthonormal. They are found by one of these methods:\n"
    "\n"
    "  qr    QL and QR iteration; by default for values alone\n"
    "  dc    divide and conquer; by default where vectors are wanted\n"
    "  mrrr  relatively robust representations; by default for a part of the values, which are found by bisection\n"
    "\n"
    "--with gives the generalised problem. Where A is symmetric or Hermitian and B positive definite it is of type\n"
    "  1  A x = w B x          2  A B x = w x          3  B A x = w x\n"
    "with vectors of length one in the inner product of B, or for type 3 in that of its inverse.\n"
    "\n"
    "Any other A is general: all eigenvalues are found from its Schur form A = Z T Z^H by QR iteration, and written "
    "as\n"
    "complex numbers unless all are real. Vectors have length one. T has 2 by 2 blocks on its diagonal where A is "
    "real\n"
    "and values are not.\n"
    "\n"
    "So is any other pair A, B: values with A v = w B v are found by QZ iteration, vectors have a largest component\n"
    "|re| + |im| of one, left ones are those with u^H A = w u^H B. A singular B has infinite values (inf); where the\n"
    "pair is singular, values are no numbers (nan).\n"
    "\n"
    "Standard error tells the method, and with --vectors how well vectors and values fit.\n";

void add_eig_options(CLI::App& command, EigenOptions& options) {
  add_matrix_options(command, options, about_square);
  add_output_option(command, options.output_file, "File for the eigenvalues");
  const auto add = [&](const char* name, auto& value, const char* type, const char* about) {
    return command.add_option(name, value, about)->type_name(type);
  };
  add("--vectors", options.vectors_file, "FILE", "File for the eigenvectors, one per column (default: none)")
      ->check(not_empty());
  add("--left", options.left_file, "FILE", "General A: file for the left eigenvectors u with u^H A = w u^H")
      ->check(not_empty());
  command.add_flag("--conditions", options.conditions,
                   "General A: tell how rounding errors move the most sensitive values");
  add("--schur", options.schur_file, "FILE", "General A: file for the Schur form T")->check(not_empty());
  add("--schur-vectors", options.schur_vectors_file, "FILE", "General A: file for the Schur vectors Z")
      ->check(not_empty());
  command.add_flag("--general", options.general, "Take A, and B, for general matrices, even where they are symmetric");
  add("--range", options.range, "FROM:TO", "The eigenvalues above FROM and not above TO (default: all)");
  add("--index", options.index, "I:J", "The I-th to the J-th eigenvalue, counted from 1 in ascending order");
  add("--with", options.partner_file, "B", "File of the second matrix of the generalised problem")->check(not_empty());
  add("--type", options.type, "TYPE", "Of the generalised problem, see below (default: 1)")->check(CLI::Range(1, 3));
  add("--method", options.method, "NAME", "qr, dc or mrrr, see below")->check(CLI::IsMember({"qr", "dc", "mrrr"}));
  add("--plot", options.plot_file, "FILE", "SVG file for a picture of the eigenvalues, by gnuplot")->check(not_empty());
}

constexpr std::string_view about_svd =
    "A = U S V^H may have any shape. Singular values, the diagonal of S, are shown in descending order.\n"
    "\n"
    "  thin  vectors that belong to values, min(m, n) on either side of an m by n matrix; by default\n"
    "  full  all vectors: m on the left, n on the right\n"
    "\n"
    "Standard error tells the numerical rank, which is the number of values above TOL times the largest; TOL is\n"
    "max(m, n) eps by default, with eps = 2.2e-16 in double precision, 1.2e-07 in single: rounding errors make what\n"
    "is smaller. The condition number in the two-norm is the largest over the smallest value. With vectors standard\n"
    "error also tells how well they and the values fit.\n"
    "\n"
    "--with gives generalised singular values of A and B, which has as many columns: the quotients c / s of the\n"
    "diagonals of C and S in\n"
    "  A = U C X^H,  B = V S X^H,  c^2 + s^2 = 1\n"
    "with U and V that have orthonormal columns. The pairs c s are shown, in descending order of their quotients; 1 0 "
    "is\n"
    "an infinite value, and 0 1 is zero. --left gives U, --with-left V and --right X. There are as many pairs as the "
    "rank\n"
    "of A and B below each other; the columns of V belong to the last of them, as many as the rank of B.\n";

void add_svd_options(CLI::App& command, SingularOptions& options) {
  add_matrix_options(command, options, "File of the matrix");
  add_output_option(command, options.output_file, "File for the singular values");
  const auto add = [&](const char* name, auto& value, const char* type, const char* about) {
    return command.add_option(name, value, about)->type_name(type);
  };
  add("--left", options.left_file, "FILE", "File for the left singular vectors U, one per column (default: none)")
      ->check(not_empty());
  add("--right", options.right_file, "FILE", "File for the right singular vectors V, one per column (default: none)")
      ->check(not_empty());
  add("--with", options.partner_file, "B", "File of the second matrix of the generalised problem")->check(not_empty());
  add("--with-left", options.partner_left_file, "FILE", "File for the left singular vectors V of B (default: none)")
      ->check(not_empty());
  command.add_flag("--thin", options.thin, "Vectors that belong to values alone (default)");
  command.add_flag("--full", options.full, "All vectors of either side");
  add("--rank", options.rank_tolerance, "TOL", about_tolerance);
  add("--plot", options.plot_file, "FILE", "SVG file for a picture of the singular values, by gnuplot")
      ->check(not_empty());
}

}  // namespace

void add_eig(CLI::App& app) {
  add_command(app, "eig", "Find eigenvalues and eigenvectors of A.", find_eigenvalues,
              fmt::format("{}{}{}", about_eig, about_input, about_answer), add_eig_options);
}

void add_svd(CLI::App& app) {
  add_command(app, "svd", "Find singular values, singular vectors and the rank of A.", find_singular_values,
              fmt::format("{}{}\n{}", about_svd, about_input, about_answer), add_svd_options);
}

}  // namespace nuv::tools
