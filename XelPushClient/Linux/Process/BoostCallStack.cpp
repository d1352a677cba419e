#include "XelPushClient/Linux/Process/BoostCallStack.h"

#include <array>
#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include <boost/stacktrace.hpp>
#include <dlfcn.h>

namespace xel {

namespace {

constexpr std::size_t kDeepest = 128;
/// This function's own frame says nothing of the crash.
constexpr std::size_t kOwnFrames = 1;

std::string moduleName(const char* path) {
    const std::string_view whole = path != nullptr ? path : "???";
    return std::string(whole.substr(whole.rfind('/') + 1));
}

std::string describe(std::size_t number, const boost::stacktrace::frame& frame) {
    const auto address = reinterpret_cast<std::uintptr_t>(frame.address());
    Dl_info facts{};
    const bool isKnown = ::dladdr(frame.address(), &facts) != 0;
    std::string symbol = isKnown && facts.dli_sname != nullptr ? frame.name() : std::string();
    std::uintptr_t begin = 0;
    if (symbol.empty()) {
        symbol = isKnown ? moduleName(facts.dli_fname) : "???";
        begin = reinterpret_cast<std::uintptr_t>(facts.dli_fbase);
    } else {
        begin = reinterpret_cast<std::uintptr_t>(facts.dli_saddr);
    }
    std::array<char, 128> front{};
    std::snprintf(front.data(), front.size(), "%-3zu %-31.64s 0x%016" PRIxPTR " ", number,
                  moduleName(isKnown ? facts.dli_fname : nullptr).c_str(), address);
    std::array<char, 32> offset{};
    std::snprintf(offset.data(), offset.size(), " + %" PRIuPTR, address - begin);
    return front.data() + symbol + offset.data();
}

}  // namespace

std::vector<std::string> BoostCallStack::callStackSymbols() {
    const boost::stacktrace::stacktrace stack(kOwnFrames, kDeepest);
    std::vector<std::string> symbols;
    symbols.reserve(stack.size());
    for (const auto& frame : stack) {
        symbols.push_back(describe(symbols.size(), frame));
    }
    return symbols;
}

}  // namespace xel
