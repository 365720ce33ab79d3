#include <gtest/gtest.h>

#include <climits>
#include <map>
#include <string>

#include "base/traceUtils.h"

namespace {

struct ErrorRow {
    std::string kind;
    std::string message;
};

const std::map<int, ErrorRow> errors = {
    {6, {"WSA_INVALID_HANDLE", "Specified event object handle is invalid"}},
    {8, {"WSA_NOT_ENOUGH_MEMORY", "Insufficient memory available"}},
    {11, {"WSAEWOULDBLOCK", "Resource temporarily unavailable"}},
    {36, {"WSAENAMETOOLONG", "Name too long"}},
    {39, {"WSAENOTEMPTY", "Directory not empty"}},
    {40, {"WSAELOOP", "Cannot translate name"}},
    {66, {"WSAEREMOTE", "Item is remote"}},
    {88, {"WSAENOTSOCK", "Socket operation on nonsocket"}},
    {89, {"WSAEDESTADDRREQ", "Destination address required"}},
    {90, {"WSAEMSGSIZE", "Message too long"}},
    {91, {"WSAEPROTOTYPE", "Protocol wrong type for socket"}},
    {92, {"WSAENOPROTOOPT", "Bad protocol option"}},
    {93, {"WSAEPROTONOSUPPORT", "Protocol not supported"}},
    {94, {"WSAESOCKTNOSUPPORT", "Socket type not supported"}},
    {95, {"WSAEOPNOTSUPP", "Operation not supported"}},
    {96, {"WSAEPFNOSUPPORT", "Protocol family not supported"}},
    {97, {"WSAEAFNOSUPPORT", "Address family not supported by protocol family"}},
    {98, {"WSAEADDRINUSE", "Address already in use"}},
    {99, {"WSAEADDRNOTAVAIL", "Cannot assign requested address"}},
    {100, {"WSAENETDOWN", "Network is down"}},
    {101, {"WSAENETUNREACH", "Network is unreachable"}},
    {102, {"WSAENETRESET", "Network dropped connection on reset"}},
    {103, {"WSAECONNABORTED", "Software caused connection abort"}},
    {104, {"WSAECONNRESET", "Connection reset by peer"}},
    {105, {"WSAENOBUFS", "No buffer space available"}},
    {106, {"WSAEISCONN", "Socket is already connected"}},
    {107, {"WSAENOTCONN", "Socket is not connected"}},
    {108, {"WSAESHUTDOWN", "Cannot send after socket shutdown"}},
    {109, {"WSAETOOMANYREFS", "Too many references"}},
    {110, {"WSAETIMEDOUT", "Connection timed out"}},
    {111, {"WSAECONNREFUSED", "Connection refused"}},
    {112, {"WSAEHOSTDOWN", "Host is down"}},
    {113, {"WSAEHOSTUNREACH", "No route to host"}},
    {115, {"WSAEINPROGRESS", "Operation already in progress"}},
    {116, {"WSAESTALE", "Stale file handle reference"}},
    {122, {"WSAEDQUOT", "Disk quota exceeded"}},
    {995, {"WSA_OPERATION_ABORTED", "Overlapped operation aborted"}},
    {996, {"WSA_IO_INCOMPLETE", "Overlapped I/O event object not in signaled state"}},
    {997, {"WSA_IO_PENDING", "Overlapped operations will complete later"}},
};

void expectErrorRow(int code) {
    const auto row = errors.find(code);
    const bool known = row != errors.end();
    EXPECT_EQ(getSocketErrorKind(code), known ? row->second.kind : "?????") << code;
    EXPECT_EQ(getSocketErrorMsg(code), known ? row->second.message : "unknown code") << code;
}

TEST(SocketErrors, EveryErrorNumberAndEveryOverlappedCode) {
    ASSERT_EQ(errors.size(), 39U);
    for (int code = 0; code <= 133; ++code)
        expectErrorRow(code);
    for (int code = 990; code <= 1000; ++code)
        expectErrorRow(code);
}

TEST(SocketErrors, NumbersThatAreNoErrors) {
    for (const int code : {-1, -11, 134, 512, 10035, 65547, INT_MAX, INT_MIN})
        expectErrorRow(code);
}

}  // namespace
