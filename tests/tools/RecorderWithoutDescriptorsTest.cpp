#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include "FewDescriptors.h"
#include "MessageCollector.h"
#include "Sender.h"
#include "recorder/Recorder.h"

namespace veltra::testing {

namespace {

using Texts = std::vector<std::string>;
using namespace std::chrono_literals;

TEST(RecorderWithoutDescriptors, TriesAgainLater) {
    MessageCollector collector;
    Recorder recorder(collector.callback());
    Sender sender;
    {
        const FewDescriptors none(0);
        sender.connect(recorder.port());
        sender.send("in the end\n");
        sender.endMessage();
        // Time for the recorder to be refused; without it the test would be less sharp, not wrong.
        std::this_thread::sleep_for(20ms);
        EXPECT_EQ(collector.messages(), Texts{});
    }
    EXPECT_EQ(collector.waitFor(1), Texts{"in the end\n"});
}

TEST(RecorderWithoutDescriptors, Stops) {
    MessageCollector collector;
    Recorder recorder(collector.callback(), 20ms);
    sendMessage(recorder.port(), "before\n");
    collector.waitFor(1);
    Sender sender;
    const FewDescriptors none(0);
    sender.connect(recorder.port());
    recorder.stop();
    EXPECT_EQ(collector.messages(), Texts{"before\n"});
}

TEST(RecorderWithoutDescriptors, SaysThatItCannotStart) {
    try {
        const FewDescriptors none(0);
        Recorder recorder([](std::string_view) {});
        FAIL() << "started without a descriptor";
    } catch (const std::system_error& error) {
        EXPECT_STREQ(error.what(), "cannot create the recorder's socket: Too many open files");
        EXPECT_EQ(error.code().value(), EMFILE);
    }
}

}  // namespace

}  // namespace veltra::testing
