#include "XelPushClient/Foundation/Text.h"

#include <stdexcept>

namespace xel {
namespace {

const char* requireText(const char* text) {
    if (text == nullptr) {
        throw std::invalid_argument("a text that must be there is a null pointer: pass a text");
    }
    return text;
}

}  // namespace

Text::Text(const char* text) : text_(requireText(text)) {}

OptionalText::OptionalText(const char* text) {
    if (text != nullptr) {
        text_ = text;
    }
}

TextList::TextList(std::initializer_list<Text> texts) {
    texts_.reserve(texts.size());
    for (const auto& text : texts) {
        texts_.push_back(text.string());
    }
}

}  // namespace xel
