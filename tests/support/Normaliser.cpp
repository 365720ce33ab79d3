#include "support/Normaliser.h"

#include <gtest/gtest.h>

#include <functional>
#include <regex>
#include <sstream>

namespace veltra::testing {

namespace {

using Replacement = std::function<std::string(const std::smatch&)>;

std::string replaceEach(const std::string& text, const std::regex& pattern,
                        const Replacement& replacement) {
    std::string result;
    auto rest = text.cbegin();
    for (std::sregex_iterator match(text.begin(), text.end(), pattern), none; match != none;
         ++match) {
        result.append(rest, (*match)[0].first);
        result += replacement(*match);
        rest = (*match)[0].second;
    }
    return result.append(rest, text.cend());
}

// Whether the digits are written as messages write numbers: lower case, no leading zeros.
bool isWellFormed(const std::string& digits) {
    static const std::regex pattern("0|[1-9a-f][0-9a-f]{0,15}");
    return std::regex_match(digits, pattern);
}

std::string attribute(const std::string& name, const std::string& value) {
    return " " + name + "=\"" + value + "\"";
}

// Where the attribute's value begins and how long it is. Without the attribute: nothing, at the
// end.
std::pair<std::size_t, std::size_t> placeOf(const std::string& message, const std::string& name) {
    const std::string start = " " + name + "=\"";
    const std::size_t found = message.find(start);
    if (found == std::string::npos) return {message.size(), 0};
    const std::size_t begin = found + start.size();
    return {begin, message.find('"', begin) - begin};
}

}  // namespace

std::string valueOf(const std::string& message, const std::string& attribute) {
    const auto [begin, length] = placeOf(message, attribute);
    return message.substr(begin, length);
}

std::string withoutValues(std::string message, const std::vector<std::string>& attributes) {
    for (const std::string& name : attributes) {
        const auto [begin, length] = placeOf(message, name);
        if (begin != message.size()) message.replace(begin, length, "N");
    }
    return message;
}

Normaliser::Normaliser(std::vector<std::string>& output) {
    std::vector<std::string> others;
    for (const std::string& line : output) {
        std::istringstream words(line);
        std::string kind;
        std::string name;
        words >> kind;
        if (kind == "@pid") {
            words >> pid_;
        } else if (kind == "@port") {
            unsigned port = 0;
            words >> name >> port;
            // No port at all keeps its number.
            if (port != 0) addPort(name, port);
        } else if (kind == "@address") {
            unsigned long address = 0;
            words >> name >> std::hex >> address;
            addresses_[address & 0xFFFFFFFF] = name;
        } else {
            others.push_back(line);
        }
    }
    output = others;
}

void Normaliser::setLifetime(std::int64_t begin, std::int64_t end) {
    begin_ = begin;
    end_ = end;
}

std::string Normaliser::message(const std::string& text) const {
    if (text.empty() || text.find('\n') != text.size() - 1) {
        ADD_FAILURE() << "not one whole line: " << text;
        return text;
    }
    return replaceTexts(attributes(text.substr(0, text.size() - 1)));
}

std::string Normaliser::attributes(const std::string& text) const {
    static const std::regex pattern(
        " (timestamp_I8|duration_I4|pid_I4|port_I4|localport_I4)=\"([^\"]*)\"");
    return replaceEach(text, pattern, [this](const std::smatch& match) {
        const std::string name = match[1];
        const std::string digits = match[2];
        if (!isWellFormed(digits)) return match.str();
        const auto value = static_cast<std::int64_t>(std::stoull(digits, nullptr, 16));
        if (name == "timestamp_I8") {
            return begin_ <= value && value <= end_ ? attribute(name, "T") : match.str();
        }
        if (name == "duration_I4") {
            return value <= end_ - begin_ ? attribute(name, "D") : match.str();
        }
        if (name == "pid_I4") {
            return std::stoul(digits, nullptr, 16) == pid_ ? attribute(name, "PID") : match.str();
        }
        return attribute(name, portName(digits, 16));
    });
}

std::string Normaliser::traceLine(const std::string& text) const {
    static const std::regex fileName("sock_\\d{4}-\\d\\d-\\d\\d-\\d\\d_\\d\\d_\\d\\d_(\\d+)\\.txt");
    static const std::regex pid("pid : (\\d+)");
    static const std::regex port("port (: )?(\\d+)$");
    static const std::regex address("0x([0-9A-F]{8})(?![0-9A-Fa-f])");
    static const std::regex acceptArguments("addrlen (-?\\d+), addr = \\(0x([0-9a-f]+)\\)");
    static const std::regex argument("=>(0x)?0x([1-9a-f][0-9a-f]*)");
    static const std::regex lookedUp("=> ([1-9a-f][0-9a-f]{7,15})$");

    std::string line = text;
    if (line.rfind("[DATA ]", 0) == 0) return replaceTexts(attributes(line));
    const auto isPid = [this](const std::string& digits) { return std::stoul(digits) == pid_; };
    line = replaceEach(line, fileName, [&](const std::smatch& match) {
        return isPid(match[1]) ? "sock_TIME_PID.txt" : match.str();
    });
    line = replaceEach(line, pid, [&](const std::smatch& match) {
        return isPid(match[1]) ? "pid : PID" : match.str();
    });
    line = replaceEach(line, port, [this](const std::smatch& match) {
        return "port " + match[1].str() + portName(match[2], 10);
    });
    line = replaceEach(line, acceptArguments, [this](const std::smatch& match) {
        const auto length = static_cast<std::uint32_t>(std::stoi(match[1]));
        return "addrlen " + addressName(length, "OWN") + ", addr = (0x" +
               addressName(std::stoul(match[2], nullptr, 16), "OWN") + ")";
    });
    line = replaceEach(line, argument, [this](const std::smatch& match) {
        const unsigned long lowHalf = std::stoul(match[2], nullptr, 16) & 0xFFFFFFFF;
        return "=>" + match[1].str() + "0x" + addressName(lowHalf, match[2]);
    });
    line = replaceEach(line, address, [this](const std::smatch& match) {
        return "0x" + addressName(std::stoul(match[1], nullptr, 16), match[1]);
    });
    line = replaceEach(line, lookedUp, [](const std::smatch&) { return "=> FUNCTION"; });
    return replaceTexts(line);
}

std::string Normaliser::replaceTexts(std::string text) const {
    for (const auto& [from, to] : texts_) {
        for (std::size_t at = text.find(from); at != std::string::npos;
             at = text.find(from, at + to.size())) {
            text.replace(at, from.size(), to);
        }
    }
    return text;
}

std::string Normaliser::portName(const std::string& digits, int base) const {
    const auto found = ports_.find(std::stoul(digits, nullptr, base));
    return found == ports_.end() ? digits : found->second;
}

std::string Normaliser::addressName(unsigned long lowHalf, const std::string& otherwise) const {
    const auto found = addresses_.find(lowHalf);
    return found == addresses_.end() ? otherwise : found->second;
}

}  // namespace veltra::testing
