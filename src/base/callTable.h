#pragma once

// The one table of the C library functions that the agent knows.
//
// Everything that exists once per function comes from here: the `_ptr` global, the `True_` wrapper,
// and, for the interposed ones, `Init…`, `Direct…` and the exported entry point. To interpose one
// more call, add a row and write its hook body (`My…`, hooks/HookSocket.h).
//
// A row is: return type, name, parameters, arguments. A row that does not
// agree with the C library's own declaration does not compile.
//
// INTERPOSED_CALLS takes two row macros: WRAPPED for the functions that have a `True_` wrapper,
// BARE for the two that have none (their hook bodies call through the pointer). Pass the same macro
// twice where the difference does not matter.

#define INTERPOSED_CALLS(WRAPPED, BARE)                                                            \
    WRAPPED(int, socket, (int domain, int type, int protocol), (domain, type, protocol))           \
    WRAPPED(int, bind, (int fd, const struct sockaddr* addr, socklen_t len), (fd, addr, len))      \
    WRAPPED(int, listen, (int fd, int backlog), (fd, backlog))                                     \
    WRAPPED(int, accept, (int fd, struct sockaddr* addr, socklen_t* len), (fd, addr, len))         \
    WRAPPED(int, close, (int fd), (fd))                                                            \
    WRAPPED(int, connect, (int fd, const struct sockaddr* addr, socklen_t len), (fd, addr, len))   \
    WRAPPED(ssize_t, read, (int fd, void* buf, size_t count), (fd, buf, count))                    \
    WRAPPED(ssize_t, write, (int fd, const void* buf, size_t count), (fd, buf, count))             \
    WRAPPED(ssize_t, send, (int fd, const void* buf, size_t len, int flags),                       \
            (fd, buf, len, flags))                                                                 \
    WRAPPED(ssize_t, recv, (int fd, void* buf, size_t len, int flags), (fd, buf, len, flags))      \
    WRAPPED(ssize_t, sendmsg, (int fd, const struct msghdr* msg, int flags), (fd, msg, flags))     \
    WRAPPED(ssize_t, recvmsg, (int fd, struct msghdr* msg, int flags), (fd, msg, flags))           \
    WRAPPED(ssize_t, sendto,                                                                       \
            (int fd, const void* buf, size_t len, int flags, const struct sockaddr* to,            \
             socklen_t tolen),                                                                     \
            (fd, buf, len, flags, to, tolen))                                                      \
    WRAPPED(ssize_t, recvfrom,                                                                     \
            (int fd, void* buf, size_t len, int flags, struct sockaddr* from, socklen_t* fromlen), \
            (fd, buf, len, flags, from, fromlen))                                                  \
    WRAPPED(int, getaddrinfo,                                                                      \
            (const char* node, const char* service, const struct addrinfo* hints,                  \
             struct addrinfo** res),                                                               \
            (node, service, hints, res))                                                           \
    WRAPPED(                                                                                       \
        int, select,                                                                               \
        (int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds, struct timeval* timeout), \
        (nfds, readfds, writefds, exceptfds, timeout))                                             \
    BARE(int, pselect,                                                                             \
         (int nfds, fd_set* readfds, fd_set* writefds, fd_set* exceptfds,                          \
          const struct timespec* timeout, const sigset_t* sigmask),                                \
         (nfds, readfds, writefds, exceptfds, timeout, sigmask))                                   \
    BARE(int, setsockopt, (int fd, int level, int name, const void* val, socklen_t len),           \
         (fd, level, name, val, len))                                                              \
    WRAPPED(int, getsockopt, (int fd, int level, int name, void* val, socklen_t* len),             \
            (fd, level, name, val, len))                                                           \
    WRAPPED(int, getsockname, (int fd, struct sockaddr* addr, socklen_t* len), (fd, addr, len))    \
    WRAPPED(int, getpeername, (int fd, struct sockaddr* addr, socklen_t* len), (fd, addr, len))

// Resolved and wrapped, but not interposed.
#define RESOLVED_CALLS(WRAPPED)                                                                   \
    WRAPPED(struct hostent*, gethostbyname, (const char* name), (name))                           \
    WRAPPED(int, gethostname, (char* name, size_t len), (name, len))                              \
    WRAPPED(struct servent*, getservbyname, (const char* name, const char* proto), (name, proto)) \
    WRAPPED(struct servent*, getservbyport, (int port, const char* proto), (port, proto))         \
    WRAPPED(uint32_t, htonl, (uint32_t value), (value))                                           \
    WRAPPED(uint16_t, htons, (uint16_t value), (value))                                           \
    WRAPPED(uint16_t, ntohs, (uint16_t value), (value))                                           \
    WRAPPED(in_addr_t, inet_addr, (const char* text), (text))                                     \
    WRAPPED(int, inet_pton, (int family, const char* text, void* buffer), (family, text, buffer)) \
    WRAPPED(char*, inet_ntoa, (struct in_addr address), (address))
