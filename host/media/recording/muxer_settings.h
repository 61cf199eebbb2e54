#ifndef KEP_HOST_MUXER_SETTINGS_H
#define KEP_HOST_MUXER_SETTINGS_H

#include <string>
#include <string_view>

#include "kep/visibility.h"

namespace kep::host {

/** The `url` of a muxer: `file:///x/a.mp4`, or with what belongs to it,
 * `file:///x/a.mp4,creater=ntp,temp_ext_name=part`. */
struct KEP_API MuxerUrl {
    std::string path;          /**< of the file */
    std::string openExtension; /**< of a file while it is open; empty for none */

    bool operator==(const MuxerUrl&) const = default;

    /** False, with an error line that names `owner`, when it is no URL of a file or has what is unknown. */
    static bool read(std::string_view text, const std::string& owner, MuxerUrl& url);
};

/** The `sendmsg` of a muxer: which messages it sends of its segments. */
struct KEP_API MuxerMessages {
    bool start = false;
    bool stop = false;

    /** False, with an error line that names `owner`, for messages that a muxer does not have. */
    static bool read(const char* text, const std::string& owner, MuxerMessages& messages);
};

/** What the path of a file is as a URL. */
KEP_API std::string fileUrl(const std::string& path);

}  // namespace kep::host

#endif
