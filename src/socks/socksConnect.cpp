#include "socks/Socks.h"

int SocksConnect(SOCKETINFO* record, const struct sockaddr* address, socklen_t length, int&) {
    if (!isBindedLocalHost(getSocket(record), address, length)) return SOCKS_NOT_APPLICABLE;
    x_disp(TRACE_INFO, "socks mode inactived (local loop)");
    return SOCKS_LOCAL_LOOP;
}
