#pragma once

// The two ways in which bytes are escaped. Both give the same bytes; recording/escaping.h chooses.

// What every processor of this architecture can do.
unsigned long escapedLengthPortable(const char* bytes, unsigned long count);
char* writeEscapedPortable(char* out, const char* limit, const char* bytes, unsigned long count);

// For processors that can compress vectors of bytes: sixty-four bytes at a time.
bool canEscapeByVectors();
unsigned long escapedLengthByVectors(const char* bytes, unsigned long count);
char* writeEscapedByVectors(char* out, const char* limit, const char* bytes, unsigned long count);
