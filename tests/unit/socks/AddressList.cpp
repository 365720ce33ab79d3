#include "AddressList.h"

#include <arpa/inet.h>
#include <netinet/in.h>

sockaddr_storage addressOf(const std::string& text, int port) {
    sockaddr_storage storage{};
    if (text.empty()) {
        storage.ss_family = AF_UNIX;
    } else if (text.find(':') != std::string::npos) {
        auto& ipv6 = reinterpret_cast<sockaddr_in6&>(storage);
        ipv6.sin6_family = AF_INET6;
        ipv6.sin6_port = htons(static_cast<std::uint16_t>(port));
        inet_pton(AF_INET6, text.c_str(), &ipv6.sin6_addr);
    } else {
        auto& ipv4 = reinterpret_cast<sockaddr_in&>(storage);
        ipv4.sin_family = AF_INET;
        ipv4.sin_port = htons(static_cast<std::uint16_t>(port));
        inet_pton(AF_INET, text.c_str(), &ipv4.sin_addr);
    }
    return storage;
}

AddressList::AddressList(const std::vector<std::string>& addresses) {
    for (const std::string& text : addresses)
        storage_.push_back(addressOf(text, 0));
    entries_.resize(addresses.size());
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        entries_[i].ai_family = storage_[i].ss_family;
        entries_[i].ai_addr = reinterpret_cast<sockaddr*>(&storage_[i]);
        entries_[i].ai_addrlen = sizeof(sockaddr_storage);
        if (i > 0) entries_[i - 1].ai_next = &entries_[i];
    }
}
