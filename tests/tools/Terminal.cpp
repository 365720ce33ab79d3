#include "Terminal.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>

namespace veltra::testing {

Terminal::Terminal(const std::string& script, const std::filesystem::path& workingFolder) {
    int master = -1;
    const winsize size{24, 80, 0, 0};
    process_ = ::forkpty(&master, nullptr, nullptr, &size);
    if (process_ == 0) {
        if (::chdir(workingFolder.c_str()) != 0) ::_exit(99);
        ::execl("/bin/sh", "sh", "-c", script.c_str(), nullptr);
        ::_exit(99);
    }
    master_ = FileDescriptor(master);
}

Terminal::~Terminal() {
    if (process_ < 0) return;
    ::kill(process_, SIGKILL);
    wait();
}

void Terminal::type(char key) const {
    EXPECT_EQ(::write(master_.number(), &key, 1), 1);
}

std::string Terminal::readUntil(const std::string& text) {
    std::array<char, 4096> buffer{};
    while (shown_.find(text) == std::string::npos) {
        const ssize_t count = ::read(master_.number(), buffer.data(), buffer.size());
        if (count <= 0) break;
        shown_.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return shown_;
}

int Terminal::wait() {
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}  // namespace veltra::testing
