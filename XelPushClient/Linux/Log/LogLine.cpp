#include "XelPushClient/Linux/Log/LogLine.h"

#include "XelPushClient/Foundation/StringUtilities.h"

namespace xel {

namespace {

void appendPrintable(std::string& text, char character) {
    const auto octet = static_cast<unsigned char>(character);
    if ((octet >= 0x20 && octet != 0x7F) || octet == '\t') {
        text += character;
        return;
    }
    text += "\\x";
    appendHexadecimal(text, octet);
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
