#pragma once

#include <csignal>

// The crash traceback: prints the faulting address and the call stack to standard output and ends
// the process with status 0. For SIGSEGV only.

// Installs the handler and stores the previous action in `old`. Returns sigaction's result.
int active_handler(struct sigaction* old);

// Puts `act` back as the action of SIGSEGV. Returns sigaction's result.
int restore_handler(struct sigaction* act);

// Prints one address with its symbol and library, to standard output. Returns the number of
// characters printed, 0 for an address that lies in no library.
int DisplaySymbol(void* address);
