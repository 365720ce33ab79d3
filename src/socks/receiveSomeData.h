#pragma once

#include <cstddef>

// One read of up to `length` bytes of the SOCKS server's reply into `buffer`, whose first byte is
// zeroed beforehand. Repeats as long as there is nothing to read yet on a non-blocking socket.
// `label` names the field in the traces.
//
// Returns true when bytes, or the end of the stream, arrived; they may be fewer than asked for.
// Else false, with the error number in `socksError` and errno 111; without either for a length
// below 1 or a null buffer.
bool receiveSomeData(int fd, unsigned char* buffer, int length, int& socksError, const char* label);
