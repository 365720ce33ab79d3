#pragma once

#include <gtest/gtest.h>

#include "socks/Socks.h"
#include "support/RealCalls.h"
#include "support/TraceLog.h"

// A test with traces on that finds SOCKS mode off, no port bound and no local address known, and
// leaves it so.
class SocksTest : public testing::Test {
protected:
    SocksTest() {
        veltra::testing::useRealCalls();
        reset();
    }
    ~SocksTest() override { reset(); }

    veltra::testing::TraceLog log;

private:
    static void reset() {
        socksModeActive.store(0);
        socksDisplayMode.store(0);
        allLocalAdresses = nullptr;
        physicalFreeBindedPortMemo();
        cleanSocketInfo();
    }
};
