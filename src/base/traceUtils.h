#pragma once

#include <cstddef>

// Names of socket constants and error codes, for traces and recorded attributes. Numbers are those
// of Linux; error names are those of Windows Sockets. All results are constant texts that live for
// ever unless said otherwise, and nothing here fails.

// The address family's name, or its comment, in Windows Sockets numbering although Linux numbers
// are passed: Linux IPv6 (10) reads "AF_CCITT". Only the low 16 bits of the number count; above 36
// the text is empty, from 26 to 36 the result is null.
const char* familyToString(int family);
const char* familyToCommentString(int family);

// The address family's name in Linux numbering, or "<unknown>".
const char* afToString(int family);

// The IP protocol's name, or "<unknown>".
const char* protocolToString(int protocol);

// The socket type's name, before it the names of the flags set. Kept in one buffer per thread,
// which the next call overwrites.
const char* typeToString(int type);

// The error code's Windows Sockets name, or "?????".
const char* getSocketErrorKind(int code);

// The error code's message, or "unknown code".
const char* getSocketErrorMsg(int code);

// Writes the names of send and receive flags over the text in `buffer`, which must hold at least 50
// characters: otherwise it is left alone.
void getFlagImage(int flags, char* buffer);

// The STREAMS ioctl command's name, or "<unknown>".
const char* getIoctlCmdKind(unsigned long command);

// Always the empty text.
const char* getIoctlOptKind();

// Copies the wide text into `destination`, the low 8 bits of each character, with a terminating
// zero. The destination must be large enough. Returns the number of characters.
std::size_t wtoc(char* destination, const wchar_t* source);
