#include "base/traceUtils.h"

namespace {

struct SocketError {
    const char* kind;
    const char* message;
};

constexpr SocketError unknownError = {"?????", "unknown code"};

// Linux error numbers (and three codes of overlapped input and output) with the Windows Sockets
// name and message of the same meaning. 115 has the message of 114, and 114 is missing:
// established.
constexpr SocketError socketError(int code) {
    switch (code) {
        case 6:
            return {"WSA_INVALID_HANDLE", "Specified event object handle is invalid"};
        case 8:
            return {"WSA_NOT_ENOUGH_MEMORY", "Insufficient memory available"};
        case 11:
            return {"WSAEWOULDBLOCK", "Resource temporarily unavailable"};
        case 36:
            return {"WSAENAMETOOLONG", "Name too long"};
        case 39:
            return {"WSAENOTEMPTY", "Directory not empty"};
        case 40:
            return {"WSAELOOP", "Cannot translate name"};
        case 66:
            return {"WSAEREMOTE", "Item is remote"};
        case 88:
            return {"WSAENOTSOCK", "Socket operation on nonsocket"};
        case 89:
            return {"WSAEDESTADDRREQ", "Destination address required"};
        case 90:
            return {"WSAEMSGSIZE", "Message too long"};
        case 91:
            return {"WSAEPROTOTYPE", "Protocol wrong type for socket"};
        case 92:
            return {"WSAENOPROTOOPT", "Bad protocol option"};
        case 93:
            return {"WSAEPROTONOSUPPORT", "Protocol not supported"};
        case 94:
            return {"WSAESOCKTNOSUPPORT", "Socket type not supported"};
        case 95:
            return {"WSAEOPNOTSUPP", "Operation not supported"};
        case 96:
            return {"WSAEPFNOSUPPORT", "Protocol family not supported"};
        case 97:
            return {"WSAEAFNOSUPPORT", "Address family not supported by protocol family"};
        case 98:
            return {"WSAEADDRINUSE", "Address already in use"};
        case 99:
            return {"WSAEADDRNOTAVAIL", "Cannot assign requested address"};
        case 100:
            return {"WSAENETDOWN", "Network is down"};
        case 101:
            return {"WSAENETUNREACH", "Network is unreachable"};
        case 102:
            return {"WSAENETRESET", "Network dropped connection on reset"};
        case 103:
            return {"WSAECONNABORTED", "Software caused connection abort"};
        case 104:
            return {"WSAECONNRESET", "Connection reset by peer"};
        case 105:
            return {"WSAENOBUFS", "No buffer space available"};
        case 106:
            return {"WSAEISCONN", "Socket is already connected"};
        case 107:
            return {"WSAENOTCONN", "Socket is not connected"};
        case 108:
            return {"WSAESHUTDOWN", "Cannot send after socket shutdown"};
        case 109:
            return {"WSAETOOMANYREFS", "Too many references"};
        case 110:
            return {"WSAETIMEDOUT", "Connection timed out"};
        case 111:
            return {"WSAECONNREFUSED", "Connection refused"};
        case 112:
            return {"WSAEHOSTDOWN", "Host is down"};
        case 113:
            return {"WSAEHOSTUNREACH", "No route to host"};
        case 115:
            return {"WSAEINPROGRESS", "Operation already in progress"};
        case 116:
            return {"WSAESTALE", "Stale file handle reference"};
        case 122:
            return {"WSAEDQUOT", "Disk quota exceeded"};
        case 995:
            return {"WSA_OPERATION_ABORTED", "Overlapped operation aborted"};
        case 996:
            return {"WSA_IO_INCOMPLETE", "Overlapped I/O event object not in signaled state"};
        case 997:
            return {"WSA_IO_PENDING", "Overlapped operations will complete later"};
        default:
            return unknownError;
    }
}

}  // namespace

const char* getSocketErrorKind(int code) {
    return socketError(code).kind;
}

const char* getSocketErrorMsg(int code) {
    return socketError(code).message;
}
