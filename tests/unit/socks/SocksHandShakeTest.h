#pragma once

#include <cerrno>

#include "SocksClient.h"
#include "socks/socksProtocol.h"

class SocksHandShake : public SocksClient {
protected:
    // What a handshake leaves. errno is 77 before.
    int shakeHands(int fd, int family) {
        socksError = 55;
        errno = 77;
        const int result = socksHandShake(fd, socksError, family);
        error = errno;
        return result;
    }

    int socksError = 0;
    int error = 0;
};
