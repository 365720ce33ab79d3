#pragma once

#include <cstddef>
#include <cstdio>

// The stream of the log file. Its descriptor is out of the application's way, and what is written
// goes to the log file or nowhere: an application that closes every descriptor, or puts a file of
// its own in the number's place, is never written to.

constexpr std::size_t logBufferSize = 4096;

// Opens the file for writing, truncated. Returns null when it cannot be opened.
std::FILE* openLogStream(const char* fileName);

// Writes a whole line of `length` bytes, unflushed; a line is never split between two writes to the
// file unless it is longer than the stream's buffer.
void writeLogLine(std::FILE* stream, const char* line, std::size_t length);
