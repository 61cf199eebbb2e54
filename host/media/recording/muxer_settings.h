#ifndef KEP_HOST_MUXER_SETTINGS_H
#define KEP_HOST_MUXER_SETTINGS_H

#include <string>
#include <string_view>

#include "kep/visibility.h"

namespace kep::host {

/** The `url` of a muxer: `file:///x/a.mp4`, or with options,
 * `file:///x/a.mp4,creater=ntp,temp_ext_name=part`. */
struct KEP_API MuxerUrl {
    std::string path;          /**< of the file */
    std::string openExtension; /**< of a file while it is open; empty for none */

    bool operator==(const MuxerUrl&) const = default;

    /** False, with an error line that names `owner`, unless it is a file URL with known options. */
    static bool read(std::string_view text, const std::string& owner, MuxerUrl& url);
};

/** The `sendmsg` of a muxer: which messages it sends about its segments. */
struct KEP_API MuxerMessages {
    bool start = false;
    bool stop = false;

    /** False, with an error line that names `owner`, for unknown messages. */
    static bool read(const char* text, const std::string& owner, MuxerMessages& messages);
};

/** The file URL of a path. */
KEP_API std::string fileUrl(const std::string& path);

}  // namespace kep::host

#endif
