#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "RegistryTest.h"
#include "support/TraceLog.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using veltra::testing::TraceLog;

void traceThroughList(const SOCKETINFO* record, DebugMessageKind kind, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void traceThroughList(const SOCKETINFO* record, DebugMessageKind kind, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    vsi_disp(record, kind, format, arguments);
    va_end(arguments);
}

// Traces in all three ways.
void traceThrice(int socket, DebugMessageKind kind) {
    s_disp(socket, kind, "s [%d] %s", 12, "text");
    si_disp(getSocketInfo(socket), kind, "si [%d] %s", 12, "text");
    traceThroughList(getSocketInfo(socket), kind, "vsi [%d] %s", 12, "text");
}

auto threeLines(const std::string& label) {
    return ElementsAre(label + "s [12] text", label + "si [12] text", label + "vsi [12] text");
}

class SocketTrace : public RegistryTest {
protected:
    TraceLog log;
};

TEST_F(SocketTrace, OfAKnownSocket) {
    createSocketInfo(7, 2, 1, 0, 6);
    traceThrice(7, TRACE_INFO);
    EXPECT_THAT(log.takeLines(), threeLines("[INFO ]"));
}

TEST_F(SocketTrace, OfEveryKind) {
    createSocketInfo(7, 10, 1, 0, 6);
    constexpr const char* labels[] = {"[ERROR]", "[INFO ]", "[HOOK ]", "[CALL ]", "[RET  ]",
                                      "[WARNI]", "[DATA ]", "[LAUNC]", nullptr,   ""};
    for (int kind = 0; kind < 10; ++kind) {
        traceThrice(7, static_cast<DebugMessageKind>(kind));
        if (labels[kind] == nullptr) {
            EXPECT_THAT(log.takeLines(), IsEmpty());
        } else {
            EXPECT_THAT(log.takeLines(), threeLines(labels[kind]));
        }
    }
}

TEST_F(SocketTrace, OfAnUnknownSocketIsSilent) {
    for (const int socket : {0, 7, -1, INT_MAX, INT_MIN})
        traceThrice(socket, TRACE_ERROR);
    createSocketInfo(7, 2, 1, 0, 6);
    for (const int socket : {0, 8, -1, INT_MAX, INT_MIN})
        traceThrice(socket, TRACE_ERROR);
    freeSocketInfo(7);
    traceThrice(7, TRACE_ERROR);
    EXPECT_THAT(log.takeLines(), IsEmpty());
}

TEST_F(SocketTrace, OfALocalSocketIsSilent) {
    SOCKETINFO* const record = createSocketInfo(7, AF_UNIX, 1, 0, 0);
    for (int kind = 0; kind < 10; ++kind)
        traceThrice(7, static_cast<DebugMessageKind>(kind));
    EXPECT_THAT(log.takeLines(), IsEmpty());
    EXPECT_FALSE(isTraceWrittenFor(record, TRACE_INFO));
    setFamily(record, AF_INET);
    traceThrice(7, TRACE_INFO);
    EXPECT_THAT(log.takeLines(), threeLines("[INFO ]"));
}

TEST_F(SocketTrace, OfOtherFamiliesIsWritten) {
    for (const int family : {0, 2, 10, 16, 17, 255, -1}) {
        createSocketInfo(7, family, 1, 0, 0);
        EXPECT_TRUE(isTraceWrittenFor(getSocketInfo(7), TRACE_INFO));
        traceThrice(7, TRACE_CALL);
        EXPECT_THAT(log.takeLines(), threeLines("[CALL ]"));
    }
}

TEST_F(SocketTrace, OfADisabledKindIsSilent) {
    createSocketInfo(7, 2, 1, 0, 6);
    debugLvl.store(1023 & ~(1 << TRACE_INFO));
    traceThrice(7, TRACE_INFO);
    EXPECT_THAT(log.takeLines(), IsEmpty());
    EXPECT_FALSE(isTraceWrittenFor(getSocketInfo(7), TRACE_INFO));
    traceThrice(7, TRACE_ERROR);
    EXPECT_THAT(log.takeLines(), threeLines("[ERROR]"));
    EXPECT_TRUE(isTraceWrittenFor(getSocketInfo(7), TRACE_ERROR));
    EXPECT_FALSE(isTraceWrittenFor(nullptr, TRACE_ERROR));
}

TEST(SocketTraces, WithoutALogFileAreSilent) {
    cleanSocketInfo();
    createSocketInfo(7, 2, 1, 0, 6);
    EXPECT_FALSE(isTraceWrittenFor(getSocketInfo(7), TRACE_INFO));
    traceThrice(7, TRACE_INFO);
    cleanSocketInfo();
}

}  // namespace
