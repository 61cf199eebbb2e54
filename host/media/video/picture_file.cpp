#include "media/video/picture_file.h"

#include <filesystem>
#include <string_view>

#include "objects/log.h"
#include "recordings/file_layer.h"
#include "recordings/temporary_file.h"

namespace kep::host {

using recordings::FileLayer;

namespace {

constexpr std::string_view kScheme = "file://";

}  // namespace

std::optional<std::string> pathOfFileUrl(const std::string& url) {
    const bool isFile = url.starts_with(kScheme);
    if (isFile && url.size() > kScheme.size() && !url.ends_with('/')) return url.substr(kScheme.size());
    KEP_HOST_ERROR("\"" + url + (isFile ? "\" has no file name" : "\" is not a file URL"));
    return std::nullopt;
}

bool writeWhole(const std::string& path, const void* bytes, std::size_t size, std::string& reason) {
    std::error_code unknown;
    const auto there = std::filesystem::status(path, unknown);
    if (std::filesystem::exists(there) && !std::filesystem::is_regular_file(there)) {
        reason = path + ": not a regular file";
        return false;
    }
    FileLayer& files = FileLayer::current();
    // Unique for each picture, as two with the same path may be written at once.
    const std::string temporary = recordings::temporaryPath(FileLayer::folderOf(path), "picture");
    const auto file = files.create(temporary, reason);
    if (!file) return false;
    auto committed = FileLayer::Committed::no;
    if (file->write(0, bytes, size, reason))
        committed = files.commit(*file, temporary, path, FileLayer::Taken::replace, reason);
    std::string ignored;
    if (committed == FileLayer::Committed::no) files.remove(temporary, ignored);
    return committed == FileLayer::Committed::durable;
}

}  // namespace kep::host
