// Starting other programs, and becoming a daemon.

#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

#include "Children.h"
#include "Drain.h"

extern char** environ;

namespace {

int connectTo(const sockaddr_in& server) {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    connect(client, probe::generic(server), sizeof(server));
    return client;
}

void announce() {
    listen(-1, 1);
}

// What the parent does with a connection that its child has closed.
void useAndClose(int client) {
    probe::report("send", [=] { return send(client, "after", 5, 0); });
    probe::report("close", [=] { return close(client); });
}

// The child of a vfork shares its parent's memory, but not its descriptors.
void vforkCloses() {
    probe::Drain peer;
    peer.tellPortAs("SERVER");
    const int client = connectTo(peer.address());
    const pid_t child = vfork();
    if (child == 0) {
        close(client);
        _exit(7);
    }
    std::printf("child: %d\n", probe::exitStatusOf(child));
    useAndClose(client);
}

void vforkExecutes() {
    probe::Drain peer;
    peer.tellPortAs("SERVER");
    const int client = connectTo(peer.address());
    std::fflush(stdout);
    const pid_t child = vfork();
    if (child == 0) {
        close(client);
        execl("/bin/sh", "sh", "-c", "echo from a child; exit 7", nullptr);
        _exit(1);
    }
    std::printf("child: %d\n", probe::exitStatusOf(child));
    useAndClose(client);
}

void spawns() {
    probe::Drain peer;
    peer.tellPortAs("SERVER");
    const int client = connectTo(peer.address());
    std::fflush(stdout);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addclose(&actions, client);
    std::string command = "sh";
    std::string option = "-c";
    std::string script = "echo from a child; exit 7";
    char* arguments[] = {command.data(), option.data(), script.data(), nullptr};
    pid_t child = -1;
    probe::report("posix_spawn", [&] {
        return posix_spawn(&child, "/bin/sh", &actions, nullptr, arguments, environ);
    });
    posix_spawn_file_actions_destroy(&actions);
    std::printf("child: %d\n", probe::exitStatusOf(child));
    useAndClose(client);
}

void callsSystem() {
    announce();
    std::fflush(stdout);
    const int status = system("echo from a child; exit 7");
    std::printf("child: %d\n", WEXITSTATUS(status));
    announce();
}

void opensPipe() {
    announce();
    FILE* const output = popen("echo from a child; exit 7", "r");
    char line[64] = "";
    std::printf("line: %s", std::fgets(line, sizeof(line), output));
    std::printf("child: %d\n", WEXITSTATUS(pclose(output)));
    announce();
}

// Everything that a daemon does with a connection and with a file of its own.
int actAsDaemon(const sockaddr_in& server) {
    for (int fd = 0; fd < 1024; ++fd)
        close(fd);
    for (int fd = 0; fd < 3; ++fd) {
        if (open("/dev/null", O_RDWR) != fd) return 1;
    }
    const int file = open("daemon.txt", O_RDWR | O_CREAT | O_TRUNC, 0600);
    if (file != 3) return 2;
    const int client = connectTo(server);
    constexpr int lines = 50;
    for (int i = 0; i < lines; ++i) {
        if (send(client, "daemon", 6, 0) != 6) return 3;
        if (write(file, "line\n", 5) != 5) return 4;
    }
    if (close(client) != 0) return 5;
    struct stat state {};
    if (fstat(file, &state) != 0 || state.st_size != lines * 5) return 6;
    return close(file) == 0 ? 0 : 7;
}

void becomesDaemon() {
    probe::Drain peer;
    peer.tellPortAs("SERVER");
    std::fflush(stdout);
    announce();
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const sockaddr_in server = peer.address();
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        if (fork() != 0) _exit(0);
        _exit(actAsDaemon(server));
    }
    std::printf("child: %d\n", probe::exitStatusOf(child));
    int status = -1;
    wait(&status);
    std::printf("daemon: %d\n", WEXITSTATUS(status));
    std::printf("arrived: %zu\n", peer.stop());
    announce();
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"vfork-closes", vforkCloses},
                               {"vfork-executes", vforkExecutes},
                               {"spawns", spawns},
                               {"calls-system", callsSystem},
                               {"opens-pipe", opensPipe},
                               {"becomes-daemon", becomesDaemon}});
}
