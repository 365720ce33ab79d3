#pragma once

#include <netinet/in.h>

// Socket addresses as text, without the C library's shared buffers: the application may still be
// looking at the result of its own inet_ntoa.

struct AddressText {
    char
        text[40];  // the longest form: eight groups of four digits, seven colons and the terminator
};

// Dotted decimal, as inet_ntoa writes it.
AddressText ipv4Text(const struct in_addr& address);

// The eight 16-bit groups in hexadecimal without leading zeros, joined by ':', never shortened.
AddressText ipv6Text(const struct in6_addr& address);
