#include "kep/url.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "error_lines.h"

namespace {

using kep::base::AttrSet;
using kep::base::IUrl;

std::string parts(const char* url) {
    AttrSet set;
    EXPECT_TRUE(IUrl::Parse(url, set)) << url;
    return set.ToString(false);
}

TEST(Url, IsSplitIntoItsParts) {
    EXPECT_EQ(parts("file:///mnt/sd/a.mp4"), "scheme=file,path=/mnt/sd/a.mp4,name=a.mp4,ext=mp4");
    EXPECT_EQ(parts("file://EVT_2024-03-05.mp4"),
              "scheme=file,path=EVT_2024-03-05.mp4,name=EVT_2024-03-05.mp4,ext=mp4");
    EXPECT_EQ(parts("file:///a.b/c.tar.gz"), "scheme=file,path=/a.b/c.tar.gz,name=c.tar.gz,ext=gz");
    EXPECT_EQ(parts("rtsp://host:554/live/x.h264"),
              "scheme=rtsp,host=host:554,path=/live/x.h264,name=x.h264,ext=h264");
    EXPECT_EQ(parts("http://host"), "scheme=http,host=host");
    EXPECT_EQ(parts("file:///a=b,c.ts"), "scheme=file,path={/a=b,c.ts},name={a=b,c.ts},ext=ts");
}

TEST(Url, AnExtensionIsOptional) {
    for (const char* url : {"file:///mnt/a", "file:///mnt/.mp4", "file:///mnt.d/a", "file:///mnt/a."}) {
        AttrSet set;
        EXPECT_TRUE(IUrl::Parse(url, set)) << url;
        EXPECT_EQ(set.Get("ext"), nullptr) << url;
    }
}

TEST(Url, AnInvalidUrlIsRefusedWithOneLine) {
    for (const char* url :
         {"", "a.mp4", "://a.mp4", "1x://a.mp4", "a b://c", "file://", "file:///mnt/", "file:///a}.mp4"}) {
        const ErrorLines lines;
        AttrSet set;
        EXPECT_FALSE(IUrl::Parse(url, set)) << url;
        EXPECT_EQ(lines.messages().size(), 1u) << url;
    }
    const ErrorLines lines;
    AttrSet set;
    EXPECT_FALSE(IUrl::Parse(nullptr, set));
}

TEST(UniqueString, DiffersFromCallToCallAndNeedsNoBraces) {
    std::set<std::string> seen;
    for (int i = 0; i < 10000; ++i) EXPECT_TRUE(seen.insert(kep::base::UniqueString()).second);
    EXPECT_EQ(seen.begin()->find_first_of(",={}+ "), std::string::npos);
}

}  // namespace
