#include "sandbox/broker/PasswordFile.h"

#include <array>
#include <span>

#include <openssl/evp.h>
#include <openssl/rand.h>

#include "sandbox/process/SandboxError.h"

namespace xel::sandbox {
namespace {

// Few, since each connect pays for them: the passwords are 24 random bytes, which nobody guesses.
constexpr int kIterations = 101;

std::string toBase64(std::span<const unsigned char> bytes) {
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()), bytes.data(),
                                       static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

}  // namespace

std::string makePasswordLine(const std::string& user, const std::string& password) {
    std::array<unsigned char, 12> salt{};
    std::array<unsigned char, 64> hash{};
    if (RAND_bytes(salt.data(), static_cast<int>(salt.size())) != 1 ||
        PKCS5_PBKDF2_HMAC(password.data(), static_cast<int>(password.size()), salt.data(),
                          static_cast<int>(salt.size()), kIterations, EVP_sha512(),
                          static_cast<int>(hash.size()), hash.data()) != 1) {
        throw SandboxError("cannot hash a broker password: OpenSSL error");
    }
    return user + ":$7$" + std::to_string(kIterations) + "$" + toBase64(salt) + "$" + toBase64(hash) + "\n";
}

}  // namespace xel::sandbox
