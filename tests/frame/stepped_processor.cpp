#include "frame/stepped_processor.hpp"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace nuv::test {
namespace {

using Registers = user_regs_struct;

#if defined(__x86_64__)
constexpr auto ip = &Registers::rip, sp = &Registers::rsp, eax = &Registers::rax, ebx = &Registers::rbx,
               ecx = &Registers::rcx, edx = &Registers::rdx;
#else
constexpr auto ip = &Registers::eip, sp = &Registers::esp, eax = &Registers::eax, ebx = &Registers::ebx,
               ecx = &Registers::ecx, edx = &Registers::edx;
#endif

constexpr long trap_flag = 1L << 8;
constexpr long id_flag = 1L << 21;

/// Between two of these stops the child is stepped.
constexpr int marker = SIGSTOP;

class SteppedChild {
 public:
  explicit SteppedChild(int (*function)()) : child_(fork()) {
    if (child_ < 0) throw std::runtime_error("fork failed");
    if (child_ == 0) run(function);
    waitpid(child_, &status_, 0);
    if (!WIFSTOPPED(status_) || WSTOPSIG(status_) != marker) throw std::runtime_error("the child can't be traced");
  }

  ~SteppedChild() {
    if (child_ <= 0 || !WIFSTOPPED(status_)) return;
    kill(child_, SIGKILL);
    waitpid(child_, &status_, 0);
  }

  Registers registers() const {
    Registers registers;
    call(PTRACE_GETREGS, nullptr, &registers);
    return registers;
  }

  void set_registers(Registers registers) const { call(PTRACE_SETREGS, nullptr, &registers); }

  long word_at(unsigned long address) const {
    errno = 0;
    const long word = ptrace(PTRACE_PEEKDATA, child_, address, nullptr);
    if (errno != 0) throw std::runtime_error("can't read the child's memory");
    return word;
  }

  void set_word_at(unsigned long address, long word) const {
    call(PTRACE_POKEDATA, reinterpret_cast<void*>(address), reinterpret_cast<void*>(word));
  }

  /// True until the child comes to the second marker or to an end.
  bool step() {
    call(PTRACE_SINGLESTEP, nullptr, nullptr);
    waitpid(child_, &status_, 0);
    return WIFSTOPPED(status_) && WSTOPSIG(status_) == SIGTRAP;
  }

  int finish() {
    if (!WIFSTOPPED(status_) || WSTOPSIG(status_) != marker) return -1;
    // Once popf was stepped over, the system takes the trap flag for the child's own and leaves it set.
    Registers registers = this->registers();
    registers.eflags &= ~static_cast<unsigned long>(trap_flag);
    set_registers(registers);
    call(PTRACE_CONT, nullptr, nullptr);
    waitpid(child_, &status_, 0);
    return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
  }

 private:
  [[noreturn]] static void run(int (*function)()) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(marker);
    const int result = function();
    raise(marker);
    _exit(result);
  }

  void call(__ptrace_request request, void* address, void* data) const {
    if (ptrace(request, child_, address, data) != 0) throw std::runtime_error("ptrace failed");
  }

  pid_t child_;
  int status_ = 0;
};

unsigned little_endian_word(const std::string& text, std::size_t position) {
  unsigned word = 0;
  std::memcpy(&word, text.data() + position, sizeof word);
  return word;
}

void answer_cpuid(const MadeUpProcessor& processor, SteppedChild& child, Registers registers) {
  const auto leaf = static_cast<unsigned>(registers.*eax);
  if (leaf == 0) {
    registers.*eax = 1;
    registers.*ebx = little_endian_word(processor.vendor, 0);
    registers.*edx = little_endian_word(processor.vendor, 4);
    registers.*ecx = little_endian_word(processor.vendor, 8);
  } else {
    registers.*eax = registers.*ebx = 0;
    registers.*ecx = leaf == 1 ? processor.leaf_1_ecx : 0;
    registers.*edx = leaf == 1 ? processor.leaf_1_edx : 0;
  }
  registers.*ip += 2;
  child.set_registers(registers);
}

}  // namespace

SteppedRun run_on(const MadeUpProcessor& processor, int (*function)()) {
  SteppedRun run;
  SteppedChild child(function);
  bool going = true;
  while (going) {
    const Registers registers = child.registers();
    const long code = child.word_at(registers.*ip);
    if ((code & 0xffff) == 0xa20f) {  // cpuid
      run.leaves.push_back(static_cast<unsigned>(registers.*eax));
      if (!processor.has_cpuid) return run;
      answer_cpuid(processor, child, registers);
      continue;
    }
    going = child.step();
    if ((code & 0xff) == 0x9c) {  // pushf: stepping shows in the image, and is hidden from it
      const unsigned long top = child.registers().*sp;
      child.set_word_at(top, child.word_at(top) & ~(processor.has_cpuid ? trap_flag : trap_flag | id_flag));
    }
  }
  run.result = child.finish();
  return run;
}

}  // namespace nuv::test
