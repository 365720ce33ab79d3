#pragma once

#include <gtest/gtest.h>

#include "base/socksMode.h"
#include "registry/ClientServer.h"
#include "registry/registryState.h"

// A test that finds the registry unused and SOCKS mode off, and leaves them so.
class RegistryTest : public testing::Test {
protected:
    RegistryTest() { reset(); }
    ~RegistryTest() override { reset(); }

private:
    static void reset() {
        socksModeActive.store(0);
        cleanSocketInfo();
    }
};
