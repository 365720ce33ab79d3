#include "SocksSetting.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

namespace veltra::testing {

namespace {

constexpr const char* webServer = R"sh(
port=$(free_port "$address")
echo "$port" > port
mkdir site
seq 1 2000 > site/page
serve python3 -m http.server --bind "$address" --directory site "$port"
wait_for "$port"
)sh";

constexpr const char* microsocks = R"sh(
serve sh -c 'exec microsocks -i "$1" -p "$2" 2>log' - "$address" "$socks"
wait_for "$socks"
)sh";

constexpr const char* microsocksWithPassword = R"sh(
serve microsocks -i "$address" -p "$socks" -u somebody -P secret
wait_for "$socks"
)sh";

std::string danted(const std::string& verdict) {
    return R"sh(
cat > danted.conf <<END
logoutput: $PWD/log
internal: $address port = $socks
external: $address
clientmethod: none
socksmethod: none
client pass { from: 0/0 to: 0/0 }
socks )sh" +
           verdict + R"sh( { from: 0/0 to: 0/0 log: connect error }
END
serve /usr/sbin/danted -f danted.conf -p danted.pid
wait_for "$socks"
)sh";
}

const std::map<std::string, std::string>& socksServers() {
    static const std::map<std::string, std::string> servers = {
        {"microsocks", microsocks},
        {"microsocksWithPassword", microsocksWithPassword},
        {"danted", danted("pass")},
        {"dantedThatBlocks", danted("block")},
        {"nobody", ""},
    };
    return servers;
}

constexpr const char* curl = R"sh(
peer=$($AGENT curl -s -g -o fetched -w '%{remote_ip} %{remote_port}' "http://$host:$port/page")
test "$peer" = "$address $port"
)sh";

constexpr const char* pythonSockets = R"sh(
cat > sockets.py <<'END'
import http.client, sys
address, port = sys.argv[1], int(sys.argv[2])
connection = http.client.HTTPConnection(address, port)
connection.request("GET", "/page")
assert connection.sock.getpeername()[:2] == (address, port)
page = connection.getresponse().read()
open("fetched", "wb").write(page)
END
$AGENT python3 sockets.py "$address" "$port"
)sh";

// Registers the descriptor before it connects, and never again.
constexpr const char* pythonEpoll = R"sh(
cat > events.py <<'END'
import errno, os, select, socket, sys
address, port = sys.argv[1], int(sys.argv[2])
client = socket.socket(socket.AF_INET6 if ":" in address else socket.AF_INET)
client.setblocking(False)
events = select.epoll()
events.register(client, select.EPOLLIN | select.EPOLLOUT | select.EPOLLET)
assert client.connect_ex((address, port)) in (0, errno.EINPROGRESS)
answer = b""
finished = asked = False
while not finished:
    for descriptor, event in events.poll():
        assert descriptor == client.fileno()
        if event & select.EPOLLOUT and not asked:
            assert client.getpeername()[:2] == (address, port)
            client.send(b"GET /page HTTP/1.0\r\n\r\n")
            asked = True
        while event & select.EPOLLIN and not finished:
            try:
                data = client.recv(1000)
            except BlockingIOError:
                break
            answer += data
            finished = not data
assert not os.get_blocking(client.fileno())
open("fetched", "wb").write(answer.partition(b"\r\n\r\n")[2])
END
$AGENT python3 events.py "$address" "$port"
)sh";

}  // namespace

const char* const connectOnly = R"sh(
cat > connect.py <<'END'
import os, socket, sys
address, port = sys.argv[1], int(sys.argv[2])
client = socket.socket(socket.AF_INET6 if ":" in address else socket.AF_INET)
error = client.connect_ex((address, port))
try:
    os.fstat(client.fileno())
    print(error, "open")
except OSError as closed:
    print(error, "closed", closed.errno)
    client.detach()
END
$AGENT python3 connect.py "$address" "$port"
)sh";

std::ostream& operator<<(std::ostream& stream, const SocksSetting& setting) {
    return stream << setting.server << (setting.isIpv6 ? "Ipv6" : "Ipv4");
}

std::string withSocksServer(const SocksSetting& setting) {
    const std::string version = setting.isIpv6 ? "IPV6" : "IPV4";
    return "address=" + setting.address() +
           "\nhost=" + (setting.isIpv6 ? "[::1]" : setting.address()) + webServer +
           "socks=$(free_port \"$address\")\n" + socksServers().at(setting.server) +
           "export VELTRA_SOCKET_AGENT_SOCKS_" + version + "_ADDRESS=\"$address\"\n" +
           "export VELTRA_SOCKET_AGENT_SOCKS_PORT_NUMBER_" + version + "=\"$socks\"\n";
}

const std::map<std::string, std::string>& pageClients() {
    static const std::map<std::string, std::string> clients = {
        {"curl", curl}, {"pythonSockets", pythonSockets}, {"pythonEpoll", pythonEpoll}};
    return clients;
}

std::string awaitLogLine(const std::string& pattern) {
    return "until grep -q \"" + pattern + "\" log; do sleep 0.01; done\n";
}

int connectionsInLog(const SocksSetting& setting, const std::string& log, int port) {
    const std::string address = setting.address();
    const std::string target = std::to_string(port);
    const std::regex line(
        setting.server == "microsocks"
            ? "client\\[[0-9]+\\] " + address + ": connected to " + address + ":" + target
            : ".* info: pass\\(1\\): tcp/connect \\[: " + address + "\\.[0-9]+ " + address +
                  "\\.[0-9]+ -> " + address + "\\.[0-9]+ " + address + "\\." + target);
    int connections = 0;
    std::istringstream lines(log);
    for (std::string text; std::getline(lines, text);) {
        if (std::regex_match(text, line)) ++connections;
    }
    return connections;
}

RecordedMessage onlyConnect(const std::vector<RecordedMessage>& recording) {
    RecordedMessage connect;
    EXPECT_EQ(count(recording, "connect"), 1);
    for (const RecordedMessage& message : recording) {
        if (message.kind == "connect") connect = message;
    }
    return connect;
}

}  // namespace veltra::testing
