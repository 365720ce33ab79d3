#pragma once

#include <netdb.h>
#include <sys/socket.h>

#include <cstddef>
#include <string>
#include <vector>

// A resolver's answer made of IPv4 and IPv6 addresses in text form; an empty text stands for an
// entry of another family.
class AddressList {
public:
    explicit AddressList(const std::vector<std::string>& addresses);
    AddressList(const AddressList&) = delete;
    AddressList& operator=(const AddressList&) = delete;

    addrinfo* head() { return entries_.data(); }

    // The address record of one entry.
    const sockaddr* address(std::size_t index) const { return entries_[index].ai_addr; }

private:
    std::vector<sockaddr_storage> storage_;
    std::vector<addrinfo> entries_;
};

// A socket address of its family, IPv4 or IPv6; an empty text gives one of the local family.
sockaddr_storage addressOf(const std::string& text, int port);
