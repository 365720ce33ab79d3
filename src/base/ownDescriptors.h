#pragma once

#include <sys/time.h>

// The descriptors that the agent keeps for itself among those of the application: its log file, its
// debug server connection and the moment's connection to the recorder.

// True when another thread could use or replace a descriptor, or start a program that inherits it,
// between two of the agent's calls.
bool areOtherThreadsAbout();

// A new TCP socket for IPv4, close-on-exec from the beginning where other threads are about.
// Returns its number, or -1 with errno.
int openOwnSocket();

// From now on the system gives up a connect or a send on the socket that takes longer.
void limitWaits(int fd, const timeval& longest);

// Moves a new descriptor out of the way of the numbers that the application expects to be given
// next, and marks it to be closed when another program is executed. Returns the new number: `fd`
// itself where no high number is free, -1 for -1. Changes errno only when it cannot be moved.
int moveDescriptorAside(int fd);

// Identity of the file behind a descriptor, to find out whether a number still means the same file:
// the application may close any number, and be given it for a file of its own.
struct FileIdentity {
    unsigned long device = 0;
    unsigned long inode = 0;

    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// The identity of what `fd` means now; all zero when it means nothing. Keeps errno.
FileIdentity fileIdentity(int fd);

// Remember and forget a number as the agent's own, as long as it means that file. Where too many
// are remembered already, one more is not. Neither fails or changes errno.
void rememberOwnDescriptor(int fd, const FileIdentity& identity);
void forgetOwnDescriptor(int fd);

// True for a number that is still the agent's own. Callable from anywhere; for other numbers
// without a system call. Keeps errno.
bool isOwnDescriptor(int fd);
