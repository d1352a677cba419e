// The reader of Web Push messages, against the service's own writer of them: what was sealed is opened,
// what was changed on the way is not, and nothing else comes out than what went in.
//
// Input: "0" and a message's octets, which are sealed for the keys below; or "1", how many changes (a
// digit), for each change two digits for its place and an octet, and then the text that is sealed.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "XelPushClient/Linux/Push/WebPushDecryption.h"
#include "XelPushClient/Linux/Push/WebPushKeys.h"
#include "sandbox/push/WebPushEncryption.h"
#include "tests/fuzz/support/FuzzInput.h"
#include "tests/fuzz/support/Require.h"

namespace {

using namespace xel;
using fuzz::require;

constexpr std::size_t kOverhead = sandbox::kPushBodyOverhead;
/// Salt, and then the size of a record, which nothing authenticates.
constexpr std::size_t kRecordSizeAt = 16;
constexpr std::size_t kRecordSizeSize = 4;

template <std::uint8_t kFirst>
WebPushKeys keys() {
    const Data privateKey(WebPushKeys::kPrivateKeySize, kFirst);
    const Data authSecret(WebPushKeys::kAuthSecretSize, 0xA5);
    return WebPushKeys::fromStored(privateKey, authSecret).value();
}

const WebPushKeys& receiver() {
    static const WebPushKeys ours = keys<0x11>();
    return ours;
}

std::string textOf(const Data& octets) {
    return {octets.begin(), octets.end()};
}

std::string sealed(std::string_view text) {
    static const WebPushKeys sender = keys<0x22>();
    const sandbox::PushReceiver to{textOf(receiver().publicKey()), textOf(receiver().authSecret())};
    const sandbox::PushSenderKeys from{textOf(sender.privateKey()), textOf(sender.publicKey()),
                                       "salt of 16 octs."};
    return sandbox::encryptPushMessage(to, from, text);
}

Result<std::string> opened(std::string_view message) {
    // An exact copy, so that a look beyond it is noticed.
    const std::vector<std::uint8_t> octets(message.begin(), message.end());
    auto content = decryptWebPush(receiver(), octets);
    if (content) {
        require(
            message.size() <= kLargestWebPushMessage && content.value().size() + kOverhead <= message.size(),
            "a content is shorter than its message");
    } else {
        require(
            content.error().domain == kWebPushErrorDomain && !content.error().localizedDescription().empty(),
            "a refusal has its words");
    }
    return content;
}

std::string withoutRecordSize(std::string message) {
    return message.erase(kRecordSizeAt, kRecordSizeSize);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::FuzzInput input(data, size);
    if (!input.flag()) {
        (void)opened(input.rest());
        return 0;
    }
    struct Change {
        std::size_t place;
        std::uint8_t octet;
    };
    std::vector<Change> changes(input.below(8));
    for (Change& change : changes) {
        change.place = input.below(256);
        change.place = change.place * 10 + input.below(10);
        change.octet = input.octet();
    }
    const std::string_view text = input.rest().substr(0, sandbox::kLargestPushText);
    const std::string message = sealed(text);
    std::string arrived = message;
    for (const Change& change : changes) {
        const std::size_t place = change.place % arrived.size();
        arrived[place] = static_cast<char>(arrived[place] ^ change.octet);
    }
    const auto content = opened(arrived);
    require(arrived != message || content.isOk(), "what was sealed is opened");
    require(!content || content.value() == text, "what comes out went in");
    require(!content || withoutRecordSize(arrived) == withoutRecordSize(message),
            "what was changed on the way is not opened");
    return 0;
}
