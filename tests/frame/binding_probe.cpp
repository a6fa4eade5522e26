// Calls stubs and binding functions in a process of its own, one for each operation given on the command line, and
// prints what came of it:
//
//   open:FILE         brings a library into the process, its names visible to itself alone
//   open_global:FILE  the same, its names visible to all
//   idamax dgemv dgemm dgetrf threads   call that stub on a small problem; the real libraries give 2, 11, 12, 1, 1
//   bind_kernels      runs nuv_serv_load_dll           detect        runs nuv_serv_cpu_detect
//   word              the configuration's result word  clear_word    sets it to zero
//   find:NAME         runs nuv_serv_load_fun           find_layer:NAME   runs nuv_serv_load_thread_fun
//   in_process:NAME                     looks the name up in the whole process
//   bind_lapack bind_oql                run nuv_serv_load_lapack_dll, nuv_serv_load_oql_dll, twice
//   call_lapack:NAME call_oql:NAME      call what nuv_serv_load_lapack_fun, nuv_serv_load_oql_fun find
//   report:NAME:LENGTH:CODE             the same three arguments to nuv_serv_xerbla,
//   report_dll: print: print_stub: print_kernels:   nuv_serv_dll_xerbla, nuv_serv_default_xerbla, xerbla_ of
//                                       libnuv_lapack, nuv_serv_default_xerbla of the kernel library
//   bad_dgesv bad_dgetrf                call that routine with a bad argument
//   unload_and_fork                     opens libnuv_lapack, has it serve a request for memory, closes it, and forks
//
// Everything is looked up in libnuv_lapack itself, since another library of the process may hold the same names.

#include <dlfcn.h>
#include <nuv/nuv_lapack.h>
#include <nuv/nuv_services.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>

#include "base/platform.hpp"

namespace {

[[noreturn]] void give_up(const std::string& why) {
  std::fprintf(stderr, "binding_probe: %s\n", why.c_str());
  std::exit(2);
}

void* open_library(const std::string& file, int visibility) {
  void* handle = dlopen(file.c_str(), RTLD_LAZY | visibility);
  if (handle == nullptr) give_up(dlerror());
  return handle;
}

void* in_lapack(const char* name) {
  static void* const lapack = open_library(NUV_LIBRARY_FILE("libnuv_lapack"), RTLD_LOCAL);
  void* address = dlsym(lapack, name);
  if (address == nullptr) give_up(std::string("no ") + name);
  return address;
}

#define IN_LAPACK(name) (*reinterpret_cast<decltype(&name)>(in_lapack(#name)))

constexpr int one = 1;

void call_idamax() {
  const int n = 3;
  const double x[] = {1, -3, 2};
  std::printf("idamax %d\n", IN_LAPACK(nuv_blas_idamax)(&n, x, &one));
}

void call_dgemv() {
  const double a = 3, x = 4, alpha = 1, beta = -1;
  double y = 1;
  IN_LAPACK(nuv_blas_dgemv)("N", &one, &one, &alpha, &a, &one, &x, &one, &beta, &y, &one, 1);
  std::printf("dgemv %g\n", y);
}

void call_dgemm() {
  const double a = 3, b = 4, alpha = 1, beta = 0;
  double c = 0;
  IN_LAPACK(nuv_blas_dgemm)("N", "N", &one, &one, &one, &alpha, &a, &one, &b, &one, &beta, &c, &one, 1, 1);
  std::printf("dgemm %g\n", c);
}

void call_dgetrf() {
  double a = 0;
  int ipiv = 0, info = 0;
  IN_LAPACK(nuv_lapack_dgetrf)(&one, &one, &a, &one, &ipiv, &info);
  std::printf("dgetrf %d\n", info);
}

void call_bad_dgesv() {
  const int n = 2;
  double a[4] = {}, b[2] = {};
  int ipiv[2] = {}, info = 0;
  IN_LAPACK(nuv_lapack_dgesv)(&n, &one, a, &one, ipiv, b, &n, &info);
  std::printf("dgesv returned %d\n", info);
}

void call_bad_dgetrf() {
  const int m = -1;
  double a = 0;
  int ipiv = 0, info = 0;
  IN_LAPACK(nuv_lapack_dgetrf)(&m, &one, &a, &one, &ipiv, &info);
  std::printf("dgetrf returned %d\n", info);
}

void unload_and_fork() {
  void* lapack = open_library(NUV_LIBRARY_FILE("libnuv_lapack"), RTLD_LOCAL);
  const auto allocate = reinterpret_cast<decltype(&nuv_serv_allocate)>(dlsym(lapack, "nuv_serv_allocate"));
  const auto deallocate = reinterpret_cast<decltype(&nuv_serv_deallocate)>(dlsym(lapack, "nuv_serv_deallocate"));
  deallocate(allocate(100, 128));
  dlclose(lapack);
  const pid_t child = fork();
  if (child == 0) _exit(0);
  int status = -1;
  waitpid(child, &status, 0);
  std::printf("child %d\n", status);
}

void print_found(const std::string& name, void* address) {
  std::printf("%s %s\n", name.c_str(), address != nullptr ? "found" : "null");
}

void call_number(void* address) {
  std::printf("number %d\n", reinterpret_cast<int (*)()>(address)());
}

/// The field in front of a separator, which is taken off together with it.
std::string take_field(std::string& text) {
  const auto end = text.find(':');
  const std::string field = text.substr(0, end);
  text = end == std::string::npos ? "" : text.substr(end + 1);
  return field;
}

using Reporter = int(const char* name, const int* code, int length);

void report(Reporter* reporter, std::string argument) {
  const std::string name = take_field(argument);
  const int length = std::stoi(take_field(argument));
  const int code = std::stoi(take_field(argument));
  std::printf("returned %d\n", reporter(name.c_str(), &code, length));
}

using Operation = std::function<void(const std::string& argument)>;

const std::map<std::string, Operation> operations = {
    {"open", [](auto& file) { open_library(file, RTLD_LOCAL); }},
    {"open_global", [](auto& file) { open_library(file, RTLD_GLOBAL); }},
    {"idamax", [](auto&) { call_idamax(); }},
    {"dgemv", [](auto&) { call_dgemv(); }},
    {"dgemm", [](auto&) { call_dgemm(); }},
    {"dgetrf", [](auto&) { call_dgetrf(); }},
    {"threads", [](auto&) { std::printf("threads %d\n", IN_LAPACK(nuv_serv_nuv_get_max_threads)()); }},
    {"bind_kernels",
     [](auto&) {
       IN_LAPACK(nuv_serv_load_dll)
       ();
     }},
    {"detect", [](auto&) { std::printf("detect %d\n", IN_LAPACK(nuv_serv_cpu_detect)()); }},
    {"word", [](auto&) { std::printf("word %d\n", IN_LAPACK(__nuv_cfg_file_readed_extern)); }},
    {"clear_word", [](auto&) { IN_LAPACK(__nuv_cfg_file_readed_extern) = 0; }},
    {"find", [](auto& name) { print_found(name, IN_LAPACK(nuv_serv_load_fun)(name.c_str())); }},
    {"find_layer", [](auto& name) { print_found(name, IN_LAPACK(nuv_serv_load_thread_fun)(name.c_str())); }},
    {"in_process", [](auto& name) { print_found(name, nuv::platform::find_in_process(name.c_str())); }},
    {"bind_lapack",
     [](auto&) {
       void* handle = IN_LAPACK(nuv_serv_load_lapack_dll)();
       std::puts(handle == IN_LAPACK(nuv_serv_load_lapack_dll)() ? "bound once" : "bound again");
     }},
    {"bind_oql",
     [](auto&) {
       void* handle = IN_LAPACK(nuv_serv_load_oql_dll)();
       std::puts(handle == IN_LAPACK(nuv_serv_load_oql_dll)() ? "bound once" : "bound again");
     }},
    {"call_lapack", [](auto& name) { call_number(IN_LAPACK(nuv_serv_load_lapack_fun)(name.c_str())); }},
    {"call_oql", [](auto& name) { call_number(IN_LAPACK(nuv_serv_load_oql_fun)(name.c_str())); }},
    {"report", [](auto& text) { report(IN_LAPACK(nuv_serv_xerbla), text); }},
    {"report_dll", [](auto& text) { report(IN_LAPACK(nuv_serv_dll_xerbla), text); }},
    {"print", [](auto& text) { report(IN_LAPACK(nuv_serv_default_xerbla), text); }},
    {"print_stub", [](auto& text) { report(IN_LAPACK(xerbla_), text); }},
    {"print_kernels",
     [](auto& text) {
       IN_LAPACK(nuv_serv_load_dll)();
       void* printer = IN_LAPACK(nuv_serv_load_fun)("nuv_serv_default_xerbla");
       report(reinterpret_cast<Reporter*>(printer), text);
     }},
    {"bad_dgesv", [](auto&) { call_bad_dgesv(); }},
    {"bad_dgetrf", [](auto&) { call_bad_dgetrf(); }},
    {"unload_and_fork", [](auto&) { unload_and_fork(); }},
};

}  // namespace

int main(int argument_count, char** arguments) {
  for (int i = 1; i < argument_count; ++i) {
    std::string argument = arguments[i];
    const auto operation = operations.find(take_field(argument));
    if (operation == operations.end()) give_up(std::string("no operation ") + arguments[i]);
    operation->second(argument);
  }
  return 0;
}
