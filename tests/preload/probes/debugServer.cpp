// Programs that switch the agent's debug server on before their first call.

#include <string>

#include "Client.h"
#include "DebugServerSwitch.h"

namespace {

void setOptions(const Client& client, int count) {
    const int on = 1;
    for (int i = 0; i < count; ++i)
        setsockopt(client.socket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof(on));
}

void talkWith(const Client& client, int calls) {
    const std::string text(9000, 'x');
    probe::report("send", [&] { return send(client.socket, text.data(), text.size(), 0); });
    setOptions(client, calls);
    probe::report("close", [&] { return close(client.socket); });
}

void talk() {
    probe::switchDebugServerOn();
    talkWith(connectClient(), 3);
}

// More than the debug server's connection can hold.
void talkMuch() {
    probe::switchDebugServerOn();
    talkWith(connectClient(), 40000);
}

void leaveSwitchedOff() {
    talkWith(connectClient(), 3);
}

}  // namespace

int main(int argc, char** argv) {
    return probe::runScenario(argc, argv,
                              {{"talk", talk}, {"talk-much", talkMuch}, {"off", leaveSwitchedOff}});
}
