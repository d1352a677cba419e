#include <algorithm>
#include <string>

#include <dlfcn.h>

#include "XelPushClient/Linux/Process/BoostCallStack.h"
#include "tests/contract/Process/NSThreadContract.h"

namespace xel::contract {
namespace {

class RealNSThreadSubject {
public:
    NSThread& thread() { return thread_; }

private:
    BoostCallStack thread_;
};

// As deep as asked; not a tail call, so that each stays on the stack.
__attribute__((noinline)) std::size_t depthBelow(int calls) {
    volatile std::size_t depth =
        calls == 0 ? BoostCallStack().callStackSymbols().size() : depthBelow(calls - 1);
    return depth;
}

TEST(BoostCallStack, HasEachCall) {
    EXPECT_EQ(depthBelow(10), depthBelow(3) + 7);
}

TEST(BoostCallStack, IsBounded) {
    EXPECT_LE(depthBelow(1000), 128U);
}

TEST(BoostCallStack, BeginsWithTheCallerAndNamesModuleAndOffset) {
    const auto symbols = BoostCallStack().callStackSymbols();
    ASSERT_GT(symbols.size(), 2U);
    Dl_info self{};
    ASSERT_NE(::dladdr(reinterpret_cast<void*>(&depthBelow), &self), 0);
    const std::string program(
        std::string_view(self.dli_fname).substr(std::string_view(self.dli_fname).rfind('/') + 1));
    EXPECT_TRUE(symbols.front().starts_with("0   " + program)) << symbols.front();
    EXPECT_NE(symbols.front().find(" 0x"), std::string::npos) << symbols.front();
    EXPECT_NE(symbols.front().find(" + "), std::string::npos) << symbols.front();
    const bool namesTheLibrary = std::any_of(symbols.begin(), symbols.end(), [](const std::string& symbol) {
        return symbol.find("libc.so") != std::string::npos &&
               symbol.find("__libc_start_main") != std::string::npos;
    });
    EXPECT_TRUE(namesTheLibrary) << "a symbol that is there is shown by its name";
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Real, NSThreadContract, RealNSThreadSubject);

}  // namespace xel::contract
