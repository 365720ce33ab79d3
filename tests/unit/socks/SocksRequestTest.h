#pragma once

#include <string>

#include "SocksClient.h"

class SocksRequest : public SocksClient {
protected:
    // What a connect to the destination leaves. errno is 77 before.
    int connectTo(const std::string& address, int port);
    int connectTo10_1_2_3() { return connectTo("10.1.2.3", 80); }

    // The destination that the record has stored, in text form; empty when there is none.
    std::string storedDestination() const;

    int socksError = 0;
    int error = 0;
};

// A reply that accepts an IPv4 request.
extern const std::string routedReply;

// What is traced of the request for 10.1.2.3, and of its end when it succeeds.
Lines requestTrace();
Lines successTrace();

// The whole of a connect to 10.1.2.3 whose reply is traced like this.
Lines replyTrace(const Lines& reply);
