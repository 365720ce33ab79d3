#include "registry/ClientServer.h"

void vsi_disp(const SOCKETINFO* record, DebugMessageKind kind, const char* format,
              va_list arguments) {
    if (isTraceWrittenFor(record, kind)) vx_disp(kind, format, arguments);
}

void(si_disp)(const SOCKETINFO* record, DebugMessageKind kind, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsi_disp(record, kind, format, arguments);
    va_end(arguments);
}

void s_disp(int socket, DebugMessageKind kind, const char* format, ...) {
    if (!isDebugLevelEnable(kind)) return;
    va_list arguments;
    va_start(arguments, format);
    vsi_disp(getSocketInfo(socket), kind, format, arguments);
    va_end(arguments);
}
