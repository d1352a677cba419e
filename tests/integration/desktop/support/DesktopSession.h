#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/contract/Store/TemporaryFolder.h"
#include "tests/integration/desktop/support/PrivateBus.h"
#include "tests/integration/desktop/support/TestProgram.h"

namespace xel::test {

/// A user's desktop in memory: a session bus, a screen, and a notification server that draws on it. What is
/// on screen is looked at, not assumed.
class DesktopSession {
public:
    /// The colour of the picture that tests show, which nothing else on the screen has.
    static constexpr const char* kPictureColour = "#FF00FF";

    /// Throws when bus or screen do not come up.
    DesktopSession();

    /// Empty, or which program is missing: what a test skips with.
    [[nodiscard]] static std::string whyMissing();

    void startDunst();
    void startXfceNotifyd();

    [[nodiscard]] std::string busAddress() const { return bus_.address(); }
    [[nodiscard]] const std::string& folder() const { return folder_.path(); }
    /// A PNG of 200 by 200 points in that colour.
    [[nodiscard]] std::string picture() const;

    /// How many points of the screen have the picture's colour.
    [[nodiscard]] long picturePoints();
    /// How many windows the server shows.
    [[nodiscard]] std::size_t windowCount();
    /// Clicks into the server's one window: so far from its left side, as a share of its width, and so many
    /// points above its lower end.
    void click(double share, int pointsAboveEnd);
    /// Copies the screen into the folder that the variable XELPUSH_SCREENSHOTS names, for a person to look
    /// at.
    void keepScreenshot(const std::string& name);

private:
    [[nodiscard]] std::string run(const std::vector<std::string>& command);
    [[nodiscard]] std::vector<std::string> windows();
    [[nodiscard]] std::string takeScreenshot();
    void start(const std::vector<std::string>& command);
    void waitForServer();

    contract::TemporaryFolder folder_;
    PrivateBus bus_;
    std::unique_ptr<TestProgram> screen_;
    std::map<std::string, std::string> environment_;
    std::string windowClass_;
    std::vector<std::unique_ptr<TestProgram>> programs_;
};

}  // namespace xel::test
