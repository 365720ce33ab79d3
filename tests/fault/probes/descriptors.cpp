// A program that counts on its descriptor numbers, closes what it does not know, and puts files of
// its own in the place of what was there. With a second argument the agent's debug server is on.

#include "Descriptors.h"

#include <fcntl.h>
#include <sys/select.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <iterator>
#include <string>
#include <thread>

#include "Children.h"
#include "Drain.h"
#include "preload/probes/DebugServerSwitch.h"

extern char** environ;

namespace {

void announce() {
    listen(-1, 1);
}

// What is open and not of the program's own making.
std::vector<int> foreignDescriptors() {
    std::vector<int> foreign = probe::openDescriptors();
    foreign.erase(std::remove_if(foreign.begin(), foreign.end(), [](int fd) { return fd < 3; }),
                  foreign.end());
    return foreign;
}

// A file with a text of the program's own, to be looked at later.
class OwnFile {
public:
    explicit OwnFile(const char* name) : name_(name) {
        fd_ = open(name, O_RDWR | O_CREAT | O_TRUNC, 0600);
        add();
    }
    ~OwnFile() { syscall(SYS_close, fd_); }
    OwnFile(const OwnFile&) = delete;
    OwnFile& operator=(const OwnFile&) = delete;

    int descriptor() const { return fd_; }

    // Takes the number of another descriptor as well.
    void takePlaceOf(int fd) const {
        if (dup2(fd_, fd) == fd) places_.push_back(fd);
    }

    void add() {
        if (write(fd_, "own line\n", 9) == 9) expected_ += "own line\n";
    }

    // Writes through every number that it has.
    void addThroughAll() {
        add();
        for (const int place : places_) {
            if (write(place, "own line\n", 9) == 9) expected_ += "own line\n";
        }
    }

    void printVerdict() const {
        std::string content(expected_.size() + 4096, '\0');
        const int fd = open(name_, O_RDONLY);
        const long count = syscall(SYS_read, fd, content.data(), content.size());
        syscall(SYS_close, fd);
        content.resize(static_cast<std::size_t>(std::max(count, 0L)));
        std::printf("%s: %s\n", name_, content == expected_ ? "its own" : content.c_str());
    }

private:
    const char* name_;
    int fd_ = -1;
    mutable std::vector<int> places_;
    std::string expected_;
};

void numbers() {
    announce();
    for (int i = 0; i < 3; ++i)
        std::printf("open: %d\n", open("/dev/null", O_RDONLY));
    std::printf("socket: %d\n", socket(AF_INET, SOCK_STREAM, 0));
    announce();
    std::printf("open: %d\n", open("/dev/null", O_RDONLY));
}

// As many programs do it that are older than poll. The system looks at as much of each set as the
// process's table of descriptors is long, which is not all of that number.
void selectAsFarAsTheTable() {
    announce();
    struct {
        fd_set set;
        char behind[4096];
    } memory;
    std::memset(&memory, 0, sizeof(memory));
    std::memset(memory.behind, 0xFF, sizeof(memory.behind));
    int ends[2];
    if (pipe(ends) != 0 || write(ends[1], "x", 1) != 1) return;
    FD_SET(ends[0], &memory.set);
    timeval now = {0, 0};
    probe::report("select",
                  [&] { return select(getdtablesize(), &memory.set, nullptr, nullptr, &now); });
    const bool isUntouched = std::all_of(std::begin(memory.behind), std::end(memory.behind),
                                         [](char byte) { return byte == static_cast<char>(0xFF); });
    std::printf("behind the set: %s\n", isUntouched ? "untouched" : "changed");
}

void listOpen() {
    for (const int fd : probe::openDescriptors())
        std::printf("still open: %d\n", fd);
}

// Another program gets the standard descriptors and nothing else.
void closedOnExec() {
    announce();
    for (const int fd : foreignDescriptors()) {
        if ((fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0) std::printf("open for others: %d\n", fd);
    }
    std::fflush(stdout);
    unsetenv("LD_PRELOAD");
    execl("/proc/self/exe", "descriptors", "list-open", nullptr);
}

// Closes every number; nothing but the program's own answers.
void closeLoop() {
    announce();
    const int file = open("/dev/null", O_RDONLY);
    int closed = 0;
    for (int fd = 3; fd < 20'000; ++fd) {
        errno = probe::untouched;
        const int result = close(fd);
        const int error = errno;
        if (result == 0) {
            ++closed;
        } else if (error != EBADF) {
            std::printf("close %d: errno %d\n", fd, error);
        }
    }
    std::printf("closed: %d of %d\n", closed, file == -1 ? 0 : 1);
    announce();
    OwnFile own("own.txt");
    announce();
    own.addThroughAll();
    announce();
    own.printVerdict();
}

void putFilesInPlace(OwnFile& own, const std::vector<int>& foreign) {
    for (const int fd : foreign)
        own.takePlaceOf(fd);
    for (int i = 0; i < 200; ++i)
        announce();
    own.addThroughAll();
    announce();
    own.printVerdict();
}

// Closes everything in a way that the agent does not see, and takes the numbers.
void closeAll(void (*closeFrom3)()) {
    announce();
    const std::vector<int> foreign = foreignDescriptors();
    closeFrom3();
    announce();
    OwnFile own("own.txt");
    putFilesInPlace(own, foreign);
}

void closeByRange() {
    closeAll([] { syscall(SYS_close_range, 3, ~0U, 0); });
}

void closeByLibrary() {
    closeAll([] { closefrom(3); });
}

// Takes the numbers while they are in use.
void replace() {
    announce();
    const std::vector<int> foreign = foreignDescriptors();
    OwnFile own("own.txt");
    putFilesInPlace(own, foreign);
}

void closeBySystemCall() {
    closeAll([] {
        for (long fd = 3; fd < 20'000; ++fd)
            syscall(SYS_close, fd);
    });
}

bool isSameFile(int one, int other) {
    struct stat first {};
    struct stat second {};
    return fstat(one, &first) == 0 && fstat(other, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

bool isConnectedTo(in_port_t port, int fd) {
    sockaddr_in other{};
    socklen_t length = sizeof(other);
    return syscall(SYS_getpeername, fd, &other, &length) == 0 && ntohs(other.sin_port) == port;
}

// Takes the number of a connection on which a message is under way, and closes the connection so.
void takeConnection() {
    constexpr std::size_t length = std::size_t{16} << 20;
    const char* const port = std::getenv("VELTRA_SOCKET_AGENT_PORT_NUMBER");
    const auto recorder = static_cast<in_port_t>(port == nullptr ? 0 : std::atoi(port));
    probe::Drain drain;
    const sockaddr_in server = drain.address();
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    connect(client, probe::generic(server), sizeof(server));
    OwnFile own("own.txt");
    std::vector<int> taken;
    std::atomic<bool> ending{false};
    std::thread sender([&] {
        const std::vector<char> bytes(length, 'x');
        probe::report("send", [&] { return send(client, bytes.data(), length, 0); });
        ending = true;
    });
    while (!ending && taken.empty()) {
        for (const int fd : foreignDescriptors()) {
            if (isConnectedTo(recorder, fd) && dup2(own.descriptor(), fd) == fd)
                taken.push_back(fd);
        }
    }
    sender.join();
    for (const int fd : taken) {
        if (!isSameFile(fd, own.descriptor())) std::printf("lost: %d\n", fd);
    }
    own.printVerdict();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::string(argv[1]) == "list-open") {
        listOpen();
        return 0;
    }
    if (argc > 2) probe::switchDebugServerOn();
    return probe::runScenario(argc, argv,
                              {{"numbers", numbers},
                               {"closed-on-exec", closedOnExec},
                               {"select-as-far-as-the-table", selectAsFarAsTheTable},
                               {"close-loop", closeLoop},
                               {"close-by-range", closeByRange},
                               {"close-by-library", closeByLibrary},
                               {"close-by-system-call", closeBySystemCall},
                               {"replace", replace},
                               {"take-connection", takeConnection}});
}
