#include "XelPushClient/Linux/LogLine.h"

namespace xel {

namespace {

void appendPrintable(std::string& text, char character) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    const auto octet = static_cast<unsigned char>(character);
    if ((octet >= 0x20 && octet != 0x7F) || octet == '\t') {
        text += character;
        return;
    }
    text += "\\x";
    text += kDigits[octet >> 4U];
    text += kDigits[octet & 0x0FU];
}

}  // namespace

std::string printableLogText(std::string_view text) {
    std::string printable;
    printable.reserve(text.size());
    for (const char character : text) {
        if (character == '\n') {
            printable += character;
        } else {
            appendPrintable(printable, character);
        }
    }
    return printable;
}

std::string printableLogLine(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    bool isAfterLineFeed = true;
    for (const char character : text) {
        if (character == '\n') {
            while (line.ends_with(' ')) {
                line.pop_back();
            }
            isAfterLineFeed = true;
        } else if (character != ' ' || !isAfterLineFeed) {
            if (isAfterLineFeed && !line.empty()) {
                line += ' ';
            }
            isAfterLineFeed = false;
            appendPrintable(line, character);
        }
    }
    return line;
}

}  // namespace xel
