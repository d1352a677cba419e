#include "tests/integration/desktop/support/DesktopSession.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <sdbus-c++/sdbus-c++.h>

namespace xel::test {

namespace fs = std::filesystem;

namespace {

/// These have no place in PATH, but one below the architecture's library folder.
std::string xfceProgram(const std::string& name) {
    for (const auto& folder : fs::directory_iterator("/usr/lib")) {
        if (const auto program = folder.path() / "xfce4" / name; fs::exists(program)) {
            return program;
        }
    }
    return {};
}

std::string notifyd() {
    return xfceProgram("notifyd/xfce4-notifyd");
}
std::string xfconfd() {
    return xfceProgram("xfconf/xfconfd");
}

constexpr const char* kDunstSettings = R"([global]
    origin = top-right
    offset = 10x10
    width = 320
    max_icon_size = 128
    icon_position = left
    markup = full
    format = "<b>%s</b>\n%b"
    font = Sans 11
    mouse_left_click = do_action
[urgency_normal]
    timeout = 0
    background = "#202020"
    foreground = "#ffffff"
)";

/// Notifications stay until something takes them away, however slow the machine is.
constexpr const char* kXfceSettings = R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-notifyd" version="1.0">
  <property name="expire-timeout-enabled" type="bool" value="false"/>
  <property name="expire-timeout" type="int" value="600"/>
  <property name="initial-opacity" type="double" value="1"/>
</channel>
)";

}  // namespace

std::string DesktopSession::whyMissing() {
    if (auto reason = PrivateBus::whyMissing(); !reason.empty()) {
        return reason;
    }
    for (const auto* program : {"Xvfb", "dunst", "xdotool", "import", "convert"}) {
        if (programPath(program).empty()) {
            return std::string(program) + " is missing; scripts/install-packages installs it";
        }
    }
    return notifyd().empty() || xfconfd().empty()
               ? "xfce4-notifyd is missing; scripts/install-packages installs it"
               : "";
}

DesktopSession::DesktopSession() {
    const std::string number = folder_.path() + "/screen";
    screen_ = std::make_unique<TestProgram>(
        std::vector<std::string>{"/bin/sh", "-c",
                                 "exec \"$0\" -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>\"$1\"",
                                 programPath("Xvfb"), number},
        folder_.path() + "/screen.log");
    std::string display;
    if (!eventually([&] { return static_cast<bool>(std::ifstream(number) >> display); })) {
        throw std::runtime_error("Xvfb does not come up: " + screen_->output());
    }
    const std::string home = folder_.path() + "/home";
    fs::create_directories(home + "/.config/xfce4/xfconf/xfce-perchannel-xml");
    fs::permissions(home, fs::perms::owner_all);
    environment_ = {{"DISPLAY", ":" + display},
                    {"DBUS_SESSION_BUS_ADDRESS", bus_.address()},
                    {"HOME", home},
                    {"XDG_CONFIG_HOME", home + "/.config"},
                    {"XDG_CACHE_HOME", home + "/.cache"},
                    {"XDG_DATA_HOME", home + "/.local/share"},
                    {"XDG_RUNTIME_DIR", home},
                    {"GDK_BACKEND", "x11"},
                    {"NO_AT_BRIDGE", "1"},
                    {"LC_ALL", "C.UTF-8"}};
    (void)run({"convert", "-size", "200x200", std::string("xc:") + kPictureColour, picture()});
}

std::string DesktopSession::picture() const {
    return folder_.path() + "/picture.png";
}

void DesktopSession::start(const std::vector<std::string>& command) {
    const std::string log = folder_.path() + "/program" + std::to_string(programs_.size()) + ".log";
    programs_.push_back(std::make_unique<TestProgram>(command, log, environment_));
}

void DesktopSession::startDunst() {
    windowClass_ = "Dunst";
    const std::string settings = folder_.path() + "/dunstrc";
    std::ofstream(settings) << kDunstSettings;
    start({programPath("dunst"), "-config", settings});
    waitForServer();
}

void DesktopSession::startXfceNotifyd() {
    windowClass_ = "xfce4-notifyd";
    std::ofstream(environment_.at("XDG_CONFIG_HOME") + "/xfce4/xfconf/xfce-perchannel-xml/xfce4-notifyd.xml")
        << kXfceSettings;
    start({xfconfd()});
    start({notifyd()});
    waitForServer();
}

void DesktopSession::waitForServer() {
    const auto connection = sdbus::createSessionBusConnectionWithAddress(bus_.address());
    const auto bus = sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
    const bool isThere = eventually([&] {
        bool hasOwner = false;
        bus->callMethod("NameHasOwner")
            .onInterface("org.freedesktop.DBus")
            .withArguments("org.freedesktop.Notifications")
            .storeResultsTo(hasOwner);
        return hasOwner;
    });
    if (!isThere) {
        throw std::runtime_error("the notification server does not come up: " + programs_.back()->output());
    }
}

std::string DesktopSession::run(const std::vector<std::string>& command) {
    return outputOf(command, folder_.path() + "/run.log", environment_);
}

std::vector<std::string> DesktopSession::windows() {
    std::istringstream output(run({"xdotool", "search", "--onlyvisible", "--class", windowClass_}));
    std::vector<std::string> found;
    for (std::string line; std::getline(output, line);) {
        found.push_back(line);
    }
    return found;
}

std::size_t DesktopSession::windowCount() {
    return windows().size();
}

std::string DesktopSession::takeScreenshot() {
    const std::string file = folder_.path() + "/screen.png";
    (void)run({"import", "-window", "root", file});
    return file;
}

long DesktopSession::picturePoints() {
    const auto histogram =
        run({"convert", takeScreenshot(), "-depth", "8", "-format", "%c", "histogram:info:-"});
    std::istringstream lines(histogram);
    for (std::string line; std::getline(lines, line);) {
        if (line.find(kPictureColour) != std::string::npos) {
            return std::strtol(line.c_str(), nullptr, 10);
        }
    }
    return 0;
}

void DesktopSession::click(double share, int pointsAboveEnd) {
    const auto found = windows();
    if (found.size() != 1) {
        throw std::runtime_error("there is not one window but " + std::to_string(found.size()));
    }
    std::istringstream geometry(run({"xdotool", "getwindowgeometry", "--shell", found.front()}));
    std::map<std::string, int> values;
    for (std::string line; std::getline(geometry, line);) {
        const auto equals = line.find('=');
        values[line.substr(0, equals)] = std::atoi(line.c_str() + equals + 1);
    }
    const int x = values["X"] + static_cast<int>(share * values["WIDTH"]);
    const int y = values["Y"] + values["HEIGHT"] - pointsAboveEnd;
    (void)run({"xdotool", "mousemove", std::to_string(x), std::to_string(y), "click", "1"});
}

void DesktopSession::keepScreenshot(const std::string& name) {
    if (const char* folder = std::getenv("XELPUSH_SCREENSHOTS")) {
        fs::copy_file(takeScreenshot(), std::string(folder) + "/" + name + ".png",
                      fs::copy_options::overwrite_existing);
    }
}

}  // namespace xel::test
