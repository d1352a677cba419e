#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <libintl.h>

#include "XelPushClient/Linux/System/GettextStrings.h"
#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/contract/System/LocalizedStringsContract.h"

namespace xel::contract {
namespace {

namespace fs = std::filesystem;

/// A host that has chosen a language and brings a catalogue of its own. A new domain each time: gettext keeps
/// what it has read.
class Host {
public:
    explicit Host(const std::string& codeset = "UTF-8")
        : domain_("xelpush-test-" + std::to_string(++count_)) {
        const std::string folder = folder_.path() + "/xx/LC_MESSAGES";
        fs::create_directories(folder);
        const std::string source = folder_.path() + "/texts.po";
        std::ofstream(source) << R"(msgid ""
msgstr ""
"Language: xx\n"
"MIME-Version: 1.0\n"
"Content-Type: text/plain; charset=UTF-8\n"
"Content-Transfer-Encoding: 8bit\n"

msgid "greeting"
msgstr "Grüße"
)";
        const std::string compile = "msgfmt -o '" + folder + "/" + domain_ + ".mo' '" + source + "'";
        EXPECT_EQ(std::system(compile.c_str()), 0) << "msgfmt is missing: scripts/install-packages";
        ::setenv("LANGUAGE", "xx", 1);
        // Any locale but "C" turns translations on, and every machine has this one.
        EXPECT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
        ::bindtextdomain(domain_.c_str(), folder_.path().c_str());
        ::bind_textdomain_codeset(domain_.c_str(), codeset.c_str());
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host() {
        ::unsetenv("LANGUAGE");
        std::setlocale(LC_ALL, "C");
        ::textdomain("messages");
    }

    [[nodiscard]] const std::string& domain() const { return domain_; }

private:
    static inline int count_ = 0;
    TemporaryFolder folder_;
    std::string domain_;
};

class RealLocalizedStringsSubject {
public:
    LocalizedStrings& strings() { return strings_; }

private:
    Host host_;
    GettextStrings strings_{host_.domain()};
};

TEST(GettextStrings, TakeTheHostsDefaultDomainWhenNoneIsNamed) {
    const Host host;
    GettextStrings strings;
    EXPECT_EQ(strings.localizedUserNotificationStringForKey("greeting"), "greeting");
    ::textdomain(host.domain().c_str());
    EXPECT_EQ(strings.localizedUserNotificationStringForKey("greeting"), "Gr\u00FC\u00DFe");
}

TEST(GettextStrings, LeaveTheLocaleToTheHost) {
    const Host host;
    std::setlocale(LC_ALL, "C");
    GettextStrings strings(host.domain());
    EXPECT_EQ(strings.localizedUserNotificationStringForKey("greeting"), "greeting");
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
}

TEST(GettextStrings, ATranslationThatIsNotUTF8IsNone) {
    const Host host("ISO-8859-1");
    GettextStrings strings(host.domain());
    EXPECT_EQ(strings.localizedUserNotificationStringForKey("greeting"), "greeting");
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Real, LocalizedStringsContract, RealLocalizedStringsSubject);

}  // namespace xel::contract
