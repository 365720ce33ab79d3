#include "Shell.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <system_error>
#include <thread>

namespace veltra::testing {

namespace {

std::string settingVariables(const std::string& subject) {
    return "export RECORD='" VELTRA_LAUNCHER "' SEND='" VELTRA_MESSAGE_SENDER "' SUBJECT='" +
           subject + "';";
}

// Whatever started the tests may have chosen to ignore some signals.
void resetSignals(posix_spawnattr_t& attributes) {
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
}

}  // namespace

Shell::Shell(const std::string& script, const std::string& subject) {
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    resetSignals(attributes);

    const std::string output = streams_.path() / "output";
    const std::string errors = streams_.path() / "errors";
    constexpr int flags = O_WRONLY | O_CREAT | O_APPEND;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addchdir_np(&actions, folder_.path().c_str());
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), flags, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), flags, 0600);

    std::array<std::string, 3> words = {"sh", "-c", settingVariables(subject) + script};
    const std::array<char*, 4> arguments = {words[0].data(), words[1].data(), words[2].data()};
    const int error =
        ::posix_spawn(&process_, "/bin/sh", &actions, &attributes, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) throw std::system_error(error, std::generic_category(), "cannot run a shell");
}

Shell::~Shell() {
    if (process_ < 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
}

void Shell::waitForOutput(const std::string& text) const {
    while (contentOf(streams_.path() / "output").find(text) == std::string::npos) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

Outcome Shell::wait() {
    int status = 0;
    ::waitpid(process_, &status, 0);
    process_ = -1;
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
            contentOf(streams_.path() / "output"), contentOf(streams_.path() / "errors")};
}

Outcome run(const std::string& script, const std::string& subject) {
    return Shell(script, subject).wait();
}

}  // namespace veltra::testing
