#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <latch>
#include <string>
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

// So long that no test ever sees the end of it.
constexpr auto endlessPatience = std::chrono::hours(24);

std::string numberedMessage(int number) {
    return "<send ticket_I4=\"" + std::to_string(number) + "\"/>\n";
}

Texts numberedMessages(int count) {
    Texts messages;
    for (int i = 0; i < count; ++i) {
        messages.push_back(numberedMessage(i));
    }
    return messages;
}

// A message whose bytes differ from place to place, so that none can go missing unseen.
std::string largeMessage(std::size_t size) {
    std::string message(size, '\n');
    for (std::size_t i = 0; i + 1 < size; ++i) {
        message[i] = static_cast<char>('a' + i % 251 % 26);
    }
    return message;
}

TEST(Recorder, PassesOnAMessageExactlyAsItArrived) {
    MessageCollector collector;
    Recorder recorder(collector.callback());
    const std::string message = "<send data_AS=\"GET /\\x0d&#x0a;\" length_U4=\"7\"/>\n";
    sendMessage(recorder.port(), message);
    EXPECT_EQ(collector.waitFor(1), Texts{message});
}

TEST(Recorder, AddsAndDropsNothing) {
    MessageCollector collector;
    Recorder recorder(collector.callback());
    const Texts messages = {"no newline", "\n", "two\nlines\n", std::string("zero\0byte", 9)};
    for (const std::string& message : messages) {
        sendMessage(recorder.port(), message);
    }
    EXPECT_EQ(collector.waitFor(messages.size()), messages);
}

TEST(Recorder, PutsTogetherAMessageThatArrivesInPieces) {
    MessageCollector collector;
    Recorder recorder(collector.callback());
    Sender sender(recorder.port());
    for (const char* piece : {"<se", "nd", "/>", "\n"}) {
        sender.send(piece);
    }
    sender.close();
    EXPECT_EQ(collector.waitFor(1), Texts{"<send/>\n"});
}

TEST(Recorder, PassesOnNothingForAConnectionWithoutBytes) {
    MessageCollector collector;
    Recorder recorder(collector.callback());
    Sender(recorder.port()).close();
    Sender(recorder.port()).reset();
    sendMessage(recorder.port(), "after\n");
    recorder.stop();
    EXPECT_EQ(collector.messages(), Texts{"after\n"});
}

TEST(Recorder, PassesOnWhatArrivedBeforeAReset) {
    MessageCollector collector;
    Recorder recorder(collector.callback());
    Sender sender(recorder.port());
    sender.send("<send data_AS=\"cut o");
    sender.reset();
    EXPECT_EQ(collector.waitFor(1), Texts{"<send data_AS=\"cut o"});
}

TEST(Recorder, KeepsTheOrderOfOneSender) {
    MessageCollector collector;
    Recorder recorder(collector.callback());
    const Texts messages = numberedMessages(2000);
    for (const std::string& message : messages) {
        sendMessage(recorder.port(), message);
    }
    EXPECT_EQ(collector.waitFor(messages.size()), messages);
}

TEST(Recorder, KeepsTheOrderOfManyConnectionsThatEndInReverse) {
    constexpr int count = 300;
    MessageCollector collector;
    Recorder recorder(collector.callback(), endlessPatience);
    std::vector<Sender> senders(count);
    for (Sender& sender : senders) {
        sender.connect(recorder.port());
    }
    for (int i = count - 1; i >= 0; --i) {
        senders[static_cast<std::size_t>(i)].send(numberedMessage(i));
        senders[static_cast<std::size_t>(i)].close();
    }
    EXPECT_EQ(collector.waitFor(count), numberedMessages(count));
}

TEST(Recorder, LosesNothingOfManySendersAtOnce) {
    constexpr int senderCount = 16;
    constexpr int messagesEach = 200;
    MessageCollector collector;
    Recorder recorder(collector.callback());
    std::vector<std::thread> senders;
    senders.reserve(senderCount);
    for (int sender = 0; sender < senderCount; ++sender) {
        senders.emplace_back([&recorder, sender] {
            for (int i = 0; i < messagesEach; ++i) {
                sendMessage(recorder.port(),
                            std::to_string(sender) + " " + std::to_string(i) + "\n");
            }
        });
    }
    for (std::thread& sender : senders) {
        sender.join();
    }
    recorder.stop();

    Texts messages = collector.messages();
    ASSERT_EQ(messages.size(), std::size_t{senderCount} * messagesEach);
    std::vector<int> nextOfSender(senderCount);
    for (const std::string& message : messages) {
        const std::size_t blank = message.find(' ');
        int& next = nextOfSender[std::stoul(message.substr(0, blank))];
        EXPECT_EQ(std::stoi(message.substr(blank)), next++);
    }
}

TEST(Recorder, PassesOnHugeMessagesUnharmed) {
    for (const std::size_t mebibytes : {16U, 100U}) {
        MessageCollector collector;
        Recorder recorder(collector.callback());
        const std::string message = largeMessage(mebibytes << 20U);
        sendMessage(recorder.port(), message);
        // Not EXPECT_EQ, which would print both.
        EXPECT_TRUE(collector.waitFor(1) == Texts{message}) << mebibytes << " MiB";
    }
}

TEST(Recorder, LetsASmallMessageWaitForTheLargeOneBeforeIt) {
    MessageCollector collector;
    Recorder recorder(collector.callback(), endlessPatience);
    const std::string large = largeMessage(std::size_t{16} << 20U);
    Sender first(recorder.port());
    first.send(std::string_view(large).substr(0, large.size() / 2));
    sendMessage(recorder.port(), "small\n");
    first.send(std::string_view(large).substr(large.size() / 2));
    first.close();
    EXPECT_TRUE((collector.waitFor(2) == Texts{large, "small\n"}));
}

TEST(Recorder, ReadsOnWhileOthersWaitInTheOrder) {
    MessageCollector collector;
    Recorder recorder(collector.callback(), endlessPatience);
    Sender slow(recorder.port());
    slow.send("slow");
    // More than the system keeps for a connection that is not read: sending it would not end.
    const std::string large = largeMessage(std::size_t{64} << 20U);
    sendMessage(recorder.port(), large);
    slow.close();
    EXPECT_TRUE((collector.waitFor(2) == Texts{"slow", large}));
}

TEST(Recorder, DoesNotLetASilentConnectionHoldUpOthers) {
    MessageCollector collector;
    Recorder recorder(collector.callback(), 20ms);
    Sender silent(recorder.port());
    Sender alsoSilent(recorder.port());
    alsoSilent.send("half");
    sendMessage(recorder.port(), "first\n");
    collector.waitFor(1);
    sendMessage(recorder.port(), "second\n");
    collector.waitFor(2);
    alsoSilent.send(" and half\n");
    alsoSilent.close();
    collector.waitFor(3);
    silent.send("late\n");
    silent.close();
    EXPECT_EQ(collector.waitFor(4), (Texts{"first\n", "second\n", "half and half\n", "late\n"}));
}

TEST(Recorder, IsPatientWithASilentConnectionByDefault) {
    EXPECT_EQ(Recorder::defaultPatience, 2s);
}

TEST(Recorder, ReadsWhatHasConnectedBeforeItStops) {
    constexpr int count = 100;
    std::latch firstArrived(1);
    std::latch allSent(1);
    Texts received;
    Recorder recorder([&](std::string_view message) {
        if (received.empty()) {
            firstArrived.count_down();
            allSent.wait();
        }
        received.emplace_back(message);
    });
    sendMessage(recorder.port(), numberedMessage(0));
    firstArrived.wait();
    // Nothing is accepted while the callback waits: the queue holds them all.
    for (int i = 1; i < count; ++i) {
        sendMessage(recorder.port(), numberedMessage(i));
    }
    std::thread stopper([&] { recorder.stop(); });
    allSent.count_down();
    stopper.join();
    EXPECT_EQ(received, numberedMessages(count));
}

TEST(Recorder, WaitsAtStopForAMessageThatIsStillArriving) {
    MessageCollector collector;
    Recorder recorder(collector.callback(), endlessPatience);
    const std::string large = largeMessage(std::size_t{64} << 20U);
    Sender sender(recorder.port());
    sender.send("<");
    std::thread stopper([&] { recorder.stop(); });
    sender.send(large);
    sender.close();
    stopper.join();
    EXPECT_TRUE(collector.messages() == Texts{"<" + large});
}

TEST(Recorder, StopsInSpiteOfConnectionsThatNeitherSendNorClose) {
    MessageCollector collector;
    Recorder recorder(collector.callback(), 20ms);
    Sender empty(recorder.port());
    Sender unfinished(recorder.port());
    unfinished.send("unfinished");
    sendMessage(recorder.port(), "finished\n");
    collector.waitFor(1);
    recorder.stop();
    EXPECT_EQ(collector.messages(), (Texts{"finished\n", "unfinished"}));
}

TEST(Recorder, RefusesSendersOnceItHasStopped) {
    MessageCollector collector;
    Recorder recorder(collector.callback());
    recorder.stop();
    recorder.stop();
    EXPECT_NE(recorder.port(), 0);
    EXPECT_THROW(sendMessage(recorder.port(), "too late\n"), std::system_error);
    EXPECT_EQ(collector.messages(), Texts{});
}

TEST(Recorder, StopsWhenItIsDestroyed) {
    MessageCollector collector;
    {
        Recorder recorder(collector.callback());
        sendMessage(recorder.port(), "before the end\n");
    }
    EXPECT_EQ(collector.messages(), Texts{"before the end\n"});
}

TEST(Recorder, WorksNextToAnother) {
    MessageCollector firstCollector;
    MessageCollector secondCollector;
    Recorder first(firstCollector.callback());
    Recorder second(secondCollector.callback());
    EXPECT_NE(first.port(), second.port());
    sendMessage(second.port(), "two\n");
    sendMessage(first.port(), "one\n");
    EXPECT_EQ(firstCollector.waitFor(1), Texts{"one\n"});
    EXPECT_EQ(secondCollector.waitFor(1), Texts{"two\n"});
}

TEST(Recorder, LosesNothingWithFewDescriptors) {
    constexpr int count = 40;
    MessageCollector collector;
    Recorder recorder(collector.callback());
    std::vector<Sender> senders(count);
    const FewDescriptors room(4);
    for (int i = 0; i < count; ++i) {
        Sender& sender = senders[static_cast<std::size_t>(i)];
        sender.connect(recorder.port());
        sender.send(numberedMessage(i));
        sender.endMessage();
    }
    EXPECT_EQ(collector.waitFor(count), numberedMessages(count));
}

TEST(Recorder, TakesNoSignals) {
    std::latch called(1);
    sigset_t mask;
    sigemptyset(&mask);
    Recorder recorder([&](std::string_view) {
        pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        called.count_down();
    });
    sendMessage(recorder.port(), "message\n");
    called.wait();
    for (const int signal : {SIGINT, SIGTERM, SIGCHLD, SIGPIPE, SIGUSR1}) {
        EXPECT_EQ(sigismember(&mask, signal), 1) << signal;
    }
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    EXPECT_EQ(sigismember(&mask, SIGINT), 0);
}

TEST(Recorder, LeavesNoDescriptorToOtherPrograms) {
    const std::vector<int> before = openDescriptors();
    MessageCollector collector;
    Recorder recorder(collector.callback(), endlessPatience);
    Sender sender(recorder.port());
    sendMessage(recorder.port(), "the open connection before this one has been accepted\n");
    sender.send("accepted");
    sender.endMessage();
    Sender open(recorder.port());
    collector.waitFor(2);
    for (const int descriptor : openDescriptors()) {
        if (std::ranges::find(before, descriptor) != before.end()) continue;
        EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0) << descriptor;
    }
    open.close();
    recorder.stop();
}

}  // namespace

}  // namespace veltra::testing
