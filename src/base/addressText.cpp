#include "base/addressText.h"

#include <cstdio>

AddressText ipv4Text(const struct in_addr& address) {
    const auto* const byte = reinterpret_cast<const unsigned char*>(&address.s_addr);
    AddressText result;
    snprintf(result.text, sizeof(result.text), "%u.%u.%u.%u", byte[0], byte[1], byte[2], byte[3]);
    return result;
}

AddressText ipv6Text(const struct in6_addr& address) {
    const auto group = [&](int index) {
        return static_cast<unsigned>(address.s6_addr[2 * index] << 8 |
                                     address.s6_addr[2 * index + 1]);
    };
    AddressText result;
    snprintf(result.text, sizeof(result.text), "%x:%x:%x:%x:%x:%x:%x:%x", group(0), group(1),
             group(2), group(3), group(4), group(5), group(6), group(7));
    return result;
}
