#include "recording/LineParser.h"

#include <algorithm>
#include <iterator>

#include "recording/byteText.h"
#include "recording/escaping.h"

namespace veltra {

namespace {

using Name = RecorderMessageAttribute;
using Type = RecorderMessageAttributeType;

// U+FFFD in UTF-8.
constexpr std::string_view unknownCharacter = "\xEF\xBF\xBD";

struct ParseFailure {
    std::size_t position;
    std::string reason;
};

bool isNumberType(Type type) {
    return type == Type::signed32 || type == Type::unsigned32 || type == Type::signed64;
}

bool isTextName(Name name) {
    switch (name) {
        case Name::commandline:
        case Name::workingdir:
        case Name::data:
        case Name::family:
        case Name::ip:
        case Name::name:
        case Name::info:
        case Name::archi:
            return true;
        default:
            return false;
    }
}

int digitValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

std::string quoted(std::string_view word) {
    constexpr std::size_t enough = 40;
    return '"' + readable(word.substr(0, enough)) + (word.size() > enough ? "...\"" : "\"");
}

// The index of `word` in a table of names, or nothing.
template <typename Enumeration, std::size_t Size>
std::optional<Enumeration> indexOf(const char* const (&table)[Size], std::string_view word) {
    const auto* const found = std::find(std::begin(table), std::end(table), word);
    if (found == std::end(table)) return std::nullopt;
    return static_cast<Enumeration>(found - std::begin(table));
}

class LineParser {
public:
    LineParser(std::string_view line, Event& event) : line_(line), event_(event) {}

    // Throws ParseFailure at the first byte that cannot be right.
    void parse() {
        if (line_.empty()) fail("the line is empty");
        parseKind();
        while (!atEnd() && line_[position_] == ' ')
            parseAttribute();
        const std::size_t end = position_;
        expect('/');
        expect('>');
        if (!atEnd()) fail("something follows the message's end");
        requireSocket(end);
    }

private:
    [[noreturn]] void fail(std::string reason) const {
        throw ParseFailure{position_, std::move(reason)};
    }
    [[noreturn]] static void failAt(std::size_t position, std::string reason) {
        throw ParseFailure{position, std::move(reason)};
    }

    bool atEnd() const { return position_ == line_.size(); }

    char next() {
        if (atEnd()) fail("the line is cut off");
        return line_[position_++];
    }

    void expect(char wanted) {
        if (next() == wanted) return;
        --position_;
        fail("expected " + quoted({&wanted, 1}) + ", found " + quoted(line_.substr(position_, 1)));
    }

    // What stands from here to the first of `ends`, which is not consumed.
    std::string_view wordUpTo(std::string_view ends) {
        const std::size_t begin = position_;
        position_ = std::min(line_.find_first_of(ends, position_), line_.size());
        return line_.substr(begin, position_ - begin);
    }

    void parseKind() {
        if (line_.front() != '<') fail("the line does not begin with \"<\"");
        ++position_;
        const std::size_t begin = position_;
        const std::string_view word = wordUpTo(" /");
        const auto kind = indexOf<RecorderMessageKind>(MARKER_RMT, word);
        if (!kind && atEnd() && word.size() < longestKind) fail("the line is cut off");
        if (!kind) failAt(begin, "unknown kind of message " + quoted(word));
        event_.kind = *kind;
    }

    void parseAttribute() {
        ++position_;
        const std::size_t begin = position_;
        const std::string_view label = wordUpTo("= /\"");
        if (atEnd()) fail("the line is cut off");
        const std::size_t mark = label.rfind('_');
        const auto name = indexOf<Name>(ATTRIBUTE_VELTRA, label.substr(0, mark));
        if (!name) failAt(begin, "unknown attribute " + quoted(label));
        const auto type = mark == std::string_view::npos
                              ? std::nullopt
                              : indexOf<Type>(MARKER_RMAT, label.substr(mark + 1));
        if (!type) failAt(begin, "unknown type of attribute " + quoted(label));
        if (isTextName(*name) == isNumberType(*type)) {
            failAt(begin, "wrong type of attribute " + quoted(label));
        }
        if (event_.has(*name)) failAt(begin, "second attribute " + quoted(label));
        expect('=');
        expect('"');
        parseValue(event_.add(*name, *type));
        expect('"');
    }

    void parseValue(EventAttribute& attribute) {
        switch (attribute.type) {
            case Type::signed32:
                attribute.number = static_cast<std::int32_t>(parseNumber(8));
                break;
            case Type::unsigned32:
                attribute.number = static_cast<std::int64_t>(parseNumber(8));
                break;
            case Type::signed64:
                attribute.number = static_cast<std::int64_t>(parseNumber(16));
                break;
            case Type::bytes:
                parseBytes(attribute.bytes);
                break;
            case Type::wideText:
                parseWideText(attribute.bytes);
                break;
        }
    }

    std::uint64_t parseNumber(std::size_t mostDigits) {
        const std::size_t begin = position_;
        std::uint64_t value = 0;
        while (!atEnd() && line_[position_] != '"') {
            const int digit = digitValue(line_[position_]);
            if (digit < 0) fail(quoted(line_.substr(position_, 1)) + " is no hexadecimal digit");
            if (position_ - begin == mostDigits) fail("the number is too long");
            value = value << 4U | static_cast<unsigned>(digit);
            ++position_;
        }
        if (atEnd()) fail("the line is cut off");
        const std::size_t count = position_ - begin;
        if (count == 0) fail("the number is missing");
        if (count > 1 && line_[begin] == '0') failAt(begin, "the number begins with a zero");
        return value;
    }

    void parseBytes(std::string& bytes) {
        for (;;) {
            appendPlainRun(bytes);
            if (atEnd()) fail("the line is cut off");
            if (line_[position_] == '"') return;
            bytes += parseEscape();
        }
    }

    void parseWideText(std::string& text) {
        for (;;) {
            appendPlainRun(text);
            if (atEnd()) fail("the line is cut off");
            if (line_[position_] == '"') return;
            if (line_.substr(position_, 2) == "\\u") {
                position_ += 2;
                parseTwoDigits();
                text += unknownCharacter;
            } else {
                appendLatin1(static_cast<unsigned char>(parseEscape()), text);
            }
        }
    }

    // Appends the bytes that stand for themselves, up to the first that does not.
    void appendPlainRun(std::string& bytes) {
        const std::size_t begin = position_;
        while (!atEnd() && escaped(line_[position_]).length == 1)
            ++position_;
        bytes.append(line_, begin, position_ - begin);
    }

    char parseEscape() {
        const std::size_t begin = position_;
        const char lead = next();
        char byte = '\\';
        if (lead == '&') {
            expect('#');
            expect('x');
            byte = parseTwoDigits();
            expect(';');
        } else if (lead != '\\') {
            failAt(begin, "byte 0x" + hexDigits(lead) + " is not escaped");
        } else if (const char kind = next(); kind == 'x') {
            byte = parseTwoDigits();
        } else if (kind != '\\') {
            failAt(begin, "unknown escape " + quoted(line_.substr(begin, 2)));
        }
        const EscapedByte& form = escaped(byte);
        const std::string_view found = line_.substr(begin, position_ - begin);
        if (found != std::string_view(form.text, form.length)) {
            failAt(begin, "wrong escape " + quoted(found));
        }
        return byte;
    }

    char parseTwoDigits() {
        int value = 0;
        for (int i = 0; i < 2; ++i) {
            const int digit = digitValue(next());
            if (digit < 0) {
                --position_;
                fail(quoted(line_.substr(position_, 1)) + " is no hexadecimal digit");
            }
            value = value * 16 + digit;
        }
        return static_cast<char>(value);
    }

    // Without its socket such a message tells of nothing.
    void requireSocket(std::size_t end) const {
        switch (event_.kind) {
            case RecorderMessageKind::connect:
            case RecorderMessageKind::accept:
            case RecorderMessageKind::send:
            case RecorderMessageKind::receive:
            case RecorderMessageKind::close:
                if (!event_.socket()) failAt(end, "the socket is missing");
                break;
            default:
                break;
        }
    }

    static constexpr std::size_t longestKind = sizeof("notrecorded") - 1;

    const std::string_view line_;
    Event& event_;
    std::size_t position_ = 0;
};

}  // namespace

std::optional<Damage> parseLine(std::string_view line, Event& event) {
    event.clear();
    try {
        LineParser(line, event).parse();
    } catch (ParseFailure& failure) {
        return Damage{failure.position + 1, std::move(failure.reason)};
    }
    return std::nullopt;
}

}  // namespace veltra
