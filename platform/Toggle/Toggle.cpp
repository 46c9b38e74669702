#include "Toggle/Toggle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <system_error>
#include <utility>

#include "Rix/FileDescriptor.h"
#include "Toggle/FeatureToggle.h"
#include "Toggle/ToggleFile.h"
#include "Toggle/Toggles.h"

namespace Toggle {

namespace {

constexpr const char* defaultDirectory = "/etc/irbmc/toggles";
constexpr const char* noDirectory = "/dev/null";

[[noreturn]] void failReading(int error) {
    throw std::system_error(error, std::generic_category(), "cannot be read");
}

/// The file's text, or nothing if there is no such file.
/// @throws std::runtime_error saying what is wrong, without the file's name
std::optional<std::string> contentOf(const std::string& path) {
    // Not blocking: a pipe of that name must not stop the process.
    const Rix::FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file.isOpen() && (errno == ENOENT || errno == ENOTDIR)) return std::nullopt;
    if (!file.isOpen()) failReading(errno);
    struct stat status {};
    if (::fstat(file.number(), &status) != 0) failReading(errno);
    if (!S_ISREG(status.st_mode)) throw std::runtime_error("is not a file");
    std::string text(ToggleFile::maxBytes + 1, '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        const ssize_t got = ::read(file.number(), text.data() + size, text.size() - size);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) failReading(errno);
        if (got == 0) break;
        size += static_cast<std::size_t>(got);
    }
    if (size > ToggleFile::maxBytes) throw std::runtime_error("is over a mebibyte long");
    text.resize(size);
    return text;
}

/// Whether a directory that somebody named is not there: he will wonder where its toggles are.
bool isNamedInVain(const std::string& directory) {
    struct stat status {};
    return directory != defaultDirectory && ::stat(directory.c_str(), &status) != 0 &&
           errno == ENOENT;
}

}  // namespace

std::string toggleDirectory() {
    if (std::string directory = Toggles::instance().directory(); !directory.empty()) {
        return directory;
    }
    const char* directory = ::secure_getenv("IRBMC_TOGGLE_DIR");
    return directory != nullptr && *directory != '\0' ? directory : defaultDirectory;
}

void toggleDirectoryIs(std::string directory) {
    Toggles::instance().directoryIs(std::move(directory));
}

bool getToggleState(std::string_view file, std::string_view name, bool defaultState) {
    const std::string directory = toggleDirectory();
    if (directory == noDirectory) return defaultState;
    const std::string path = directory + "/" + std::string(file);
    const auto report = [&](const std::string& what) {
        Toggles::instance().report(path, what + "; '" + std::string(name) + "' is " +
                                             (defaultState ? "on" : "off") + " by default");
        return defaultState;
    };
    try {
        const std::optional<std::string> text = contentOf(path);
        if (!text && isNamedInVain(directory)) {
            Toggles::instance().report(directory, ": there is no such directory of toggles");
        }
        if (!text) return defaultState;
        const ToggleFile content = ToggleFile::parse(*text);
        const ToggleFile::Value* value = content.value(name);
        if (value == nullptr) return defaultState;
        if (value->isOn) return *value->isOn;
        return report(": the value " + value->text + " is neither true nor false");
    } catch (const std::runtime_error& error) {
        return report(std::string(": ") + error.what());
    }
}

void reportUnknownNames(std::string_view file) {
    const std::string path = toggleDirectory() + "/" + std::string(file);
    try {
        const std::optional<std::string> text = contentOf(path);
        if (!text) return;
        for (const std::string& name : ToggleFile::parse(*text).names()) {
            if (isKnown(name)) continue;
            std::string problem = path;
            problem.append(": '").append(name).append("'");
            Toggles::instance().report(problem, " is the name of no toggle");
        }
    } catch (const std::runtime_error&) {
        // Whoever asked for a state of this file reported it.
        return;
    }
}

}  // namespace Toggle
