#pragma once

// The library that stands in for the C library behind the agent. Every call goes to the kernel
// unless an answer has been laid out for it.

extern "C" {

// Lays out the answer to the next call of the function `call` on the descriptor `fd` (-1: on any,
// also for socket).
void nextAnswer(const char* call, int fd, long result, int error);
}

using NextAnswer = decltype(&nextAnswer);
