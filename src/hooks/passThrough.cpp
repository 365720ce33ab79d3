#include "hooks/HookSocket.h"

// Calls that are handed on as they are.

ssize_t Mysendto(int fd, const void* buf, size_t len, int flags, const struct sockaddr* to,
                 socklen_t tolen) {
    return True_sendto(fd, buf, len, flags, to, tolen);
}

ssize_t Myrecvfrom(int fd, void* buf, size_t len, int flags, struct sockaddr* from,
                   socklen_t* fromlen) {
    return True_recvfrom(fd, buf, len, flags, from, fromlen);
}

int Mygetaddrinfo(const char* node, const char* service, const struct addrinfo* hints,
                  struct addrinfo** res) {
    return True_getaddrinfo(node, service, hints, res);
}

int Myselect(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
             struct timeval* timeout) {
    return True_select(nfds, readfds, writefds, exceptfds, timeout);
}

int Mypselect(int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,
              const struct timespec* timeout, const sigset_t* sigmask) {
    Initpselect();
    return pselect_ptr.load(std::memory_order_relaxed)(nfds, readfds, writefds, exceptfds, timeout,
                                                       sigmask);
}

int Mysetsockopt(int fd, int level, int name, const void* val, socklen_t len) {
    Initsetsockopt();
    return setsockopt_ptr.load(std::memory_order_relaxed)(fd, level, name, val, len);
}

int Mygetsockopt(int fd, int level, int name, void* val, socklen_t* len) {
    return True_getsockopt(fd, level, name, val, len);
}

int Mygetsockname(int fd, struct sockaddr* addr, socklen_t* len) {
    return True_getsockname(fd, addr, len);
}

int Mygetpeername(int fd, struct sockaddr* addr, socklen_t* len) {
    return True_getpeername(fd, addr, len);
}

struct hostent* Mygethostbyname(const char* name) {
    return True_gethostbyname(name);
}

int Mygethostname(char* name, size_t length) {
    return True_gethostname(name, length);
}

struct servent* Mygetservbyname(const char* name, const char* protocol) {
    return True_getservbyname(name, protocol);
}

struct servent* Mygetservbyport(int port, const char* protocol) {
    return True_getservbyport(port, protocol);
}
