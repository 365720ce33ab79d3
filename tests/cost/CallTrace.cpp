#include "CallTrace.h"

#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstring>

namespace veltra::testing {

namespace {

std::string nameOf(long number) {
    static const std::map<long, std::string> names = {
        {SYS_read, "read"},
        {SYS_write, "write"},
        {SYS_close, "close"},
        {SYS_mmap, "mmap"},
        {SYS_munmap, "munmap"},
        {SYS_madvise, "madvise"},
        {SYS_rt_sigprocmask, "rt_sigprocmask"},
        {SYS_socket, "socket"},
        {SYS_connect, "connect"},
        {SYS_sendto, "sendto"},
        {SYS_recvfrom, "recvfrom"},
        {SYS_setsockopt, "setsockopt"},
        {SYS_fcntl, "fcntl"},
        {SYS_futex, "futex"},
        {SYS_clock_gettime, "clock_gettime"},
        {SYS_newfstatat, "newfstatat"},
        {SYS_process_vm_readv, "process_vm_readv"},
        {SYS_prlimit64, "prlimit64"},
        {SYS_rt_sigpending, "rt_sigpending"},
    };
    const auto found = names.find(number);
    return found != names.end() ? found->second : "system call " + std::to_string(number);
}

std::vector<char*> pointersTo(std::vector<std::string>& words) {
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    return pointers;
}

// Starts the program, stopped at its first instruction.
pid_t startTraced(std::vector<std::string> command, std::vector<std::string> environment) {
    const std::vector<char*> arguments = pointersTo(command);
    const std::vector<char*> variables = pointersTo(environment);
    const pid_t process = fork();
    if (process == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        execve(arguments[0], arguments.data(), variables.data());
        _exit(127);
    }
    waitpid(process, nullptr, 0);
    ptrace(PTRACE_SETOPTIONS, process, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    return process;
}

user_regs_struct registersOf(pid_t process) {
    user_regs_struct registers{};
    ptrace(PTRACE_GETREGS, process, nullptr, &registers);
    return registers;
}

// The bytes of the instruction that comes next, and some of what follows it.
std::array<unsigned char, sizeof(long)> nextInstruction(pid_t process) {
    const long word = ptrace(PTRACE_PEEKTEXT, process, registersOf(process).rip, nullptr);
    std::array<unsigned char, sizeof(long)> bytes;
    std::memcpy(bytes.data(), &word, sizeof(word));
    return bytes;
}

// An exchange with memory is locked without a prefix.
bool isLocked(const std::array<unsigned char, sizeof(long)>& instruction) {
    constexpr unsigned char lock = 0xF0;
    std::size_t at = 0;
    while (instruction[at] == 0x66 || instruction[at] == 0xF2 || instruction[at] == 0xF3 ||
           (instruction[at] & 0xF0) == 0x40) {
        if (++at == instruction.size() - 2) return false;
    }
    const bool isExchange = instruction[at] == 0x86 || instruction[at] == 0x87;
    return instruction[at] == lock || (isExchange && instruction[at + 1] < 0xC0);
}

// A program that stops at every system call, or at every instruction.
class TracedProgram {
public:
    TracedProgram(const std::vector<std::string>& command, const Variables& variables)
        : process_(startTraced(command, linesOf(variables))) {}
    ~TracedProgram() {
        // To its end, wherever the test has lost interest in it.
        while (WIFSTOPPED(status_))
            go(PTRACE_CONT);
        EXPECT_TRUE(WIFEXITED(status_) && WEXITSTATUS(status_) == 0) << "status " << status_;
    }
    TracedProgram(const TracedProgram&) = delete;
    TracedProgram& operator=(const TracedProgram&) = delete;

    pid_t process() const { return process_; }

    // Runs up to the entry of the next system call and through it. Its number, or -1 at the end of
    // the program.
    long throughSystemCall() {
        if (!upToSystemCallStop()) return -1;
        const auto number = static_cast<long>(registersOf(process_).orig_rax);
        return upToSystemCallStop() ? number : -1;
    }

    // Executes one instruction. False at the end of the program.
    bool step() {
        go(PTRACE_SINGLESTEP);
        return WIFSTOPPED(status_);
    }

private:
    static std::vector<std::string> linesOf(const Variables& variables) {
        std::vector<std::string> lines;
        for (const auto& [name, value] : variables)
            lines.push_back(name + "=" + value);
        return lines;
    }

    bool upToSystemCallStop() {
        do
            go(PTRACE_SYSCALL);
        while (WIFSTOPPED(status_) && WSTOPSIG(status_) != (SIGTRAP | 0x80));
        return WIFSTOPPED(status_);
    }

    // Signals that the program gets are passed on.
    void go(__ptrace_request request) {
        const int stop = WIFSTOPPED(status_) ? WSTOPSIG(status_) & ~0x80 : 0;
        ptrace(request, process_, nullptr, stop == SIGTRAP ? 0L : static_cast<long>(stop));
        waitpid(process_, &status_, 0);
    }

    const pid_t process_;
    int status_ = SIGTRAP << 8 | 0x7F;  // stopped
};

}  // namespace

std::vector<std::string> systemCallsBetweenMarks(const std::vector<std::string>& command,
                                                 const Variables& variables) {
    TracedProgram program(command, variables);
    std::vector<std::string> calls;
    int marks = 0;
    for (long number = program.throughSystemCall(); number != -1 && marks < 2;
         number = program.throughSystemCall()) {
        if (number == SYS_getppid) {
            ++marks;
        } else if (marks == 1) {
            calls.push_back(nameOf(number));
        }
    }
    EXPECT_EQ(marks, 2);
    return calls;
}

int lockedInstructionsBetweenMarks(const std::vector<std::string>& command,
                                   const Variables& variables) {
    TracedProgram program(command, variables);
    while (program.throughSystemCall() != SYS_getppid) {
    }
    int locked = 0;
    bool isMark = false;
    do {
        const auto instruction = nextInstruction(program.process());
        if (isLocked(instruction)) ++locked;
        isMark = instruction[0] == 0x0F && instruction[1] == 0x05 &&
                 registersOf(program.process()).rax == SYS_getppid;
    } while (program.step() && !isMark);
    EXPECT_TRUE(isMark);
    return locked;
}

}  // namespace veltra::testing
