#include "media/video/picture_file.h"

#include <filesystem>
#include <string_view>

#include "core/log.h"
#include "kep/url.h"
#include "media/files/file_layer.h"

namespace kep::host {

namespace {

constexpr std::string_view scheme = "file://";

bool write(FileLayer& files, const std::string& path, const void* bytes, std::size_t size,
           std::string& reason) {
    const auto file = files.create(path, reason);
    return file && file->write(0, bytes, size, reason) && file->sync(reason) && file->close(reason);
}

}  // namespace

std::optional<std::string> pathOfFileUrl(const std::string& url) {
    const bool isFile = url.starts_with(scheme);
    if (isFile && url.size() > scheme.size() && !url.ends_with('/')) return url.substr(scheme.size());
    KEP_HOST_ERROR("\"" + url + (isFile ? "\" names no file" : "\" is no file URL"));
    return std::nullopt;
}

bool writeWhole(const std::string& path, const void* bytes, std::size_t size, std::string& reason) {
    std::error_code unknown;
    const auto there = std::filesystem::status(path, unknown);
    if (std::filesystem::exists(there) && !std::filesystem::is_regular_file(there)) {
        reason = path + ": is no ordinary file";
        return false;
    }
    FileLayer& files = FileLayer::current();
    // Its own for each picture, as two may be made of one name, and short, as the name itself may be long.
    const std::string temporary = FileLayer::folderOf(path) + "/.picture_" + base::UniqueString() + ".part";
    if (write(files, temporary, bytes, size, reason) && files.replace(temporary, path, reason)) return true;
    std::string ignored;
    if (files.exists(temporary)) files.remove(temporary, ignored);
    return false;
}

}  // namespace kep::host
