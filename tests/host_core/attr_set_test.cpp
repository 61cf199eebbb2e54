#include "kep/attr_set.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <vector>

#include "text/attr_text.h"

/** Calls of memcmp and bcmp, which compare texts of equal length. */
static std::atomic<std::size_t> comparisons{0};

// The linker's --wrap redirects calls of memcmp and bcmp here.
extern "C" {
int __real_memcmp(const void* one, const void* other, std::size_t size);
int __wrap_memcmp(const void* one, const void* other, std::size_t size) {
    ++comparisons;
    return __real_memcmp(one, other, size);
}
int __real_bcmp(const void* one, const void* other, std::size_t size);
int __wrap_bcmp(const void* one, const void* other, std::size_t size) {
    ++comparisons;
    return __real_bcmp(one, other, size);
}
}

namespace {

using kep::base::AttrSet;

std::vector<std::string> items(const AttrSet& set) {
    std::vector<std::string> all;
    for (int i = 0; set.Key(i); ++i) all.push_back(std::string(set.Key(i)) + "=" + set.Value(i));
    return all;
}

using Texts = std::vector<std::string>;

TEST(AttrSet, KeepsTheOrderOfItems) {
    AttrSet set;
    ASSERT_TRUE(set.Parse("w=640,h=360,codec=h264"));
    EXPECT_EQ(items(set), (Texts{"w=640", "h=360", "codec=h264"}));
    EXPECT_EQ(set.Key(3), nullptr);
    EXPECT_EQ(set.Value(3), nullptr);
    EXPECT_EQ(set.Key(-1), nullptr);
}

TEST(AttrSet, StripsOnlyTheOuterBracesOfAValue) {
    const AttrSet set("layout={A:name=a,link={x,y}+B:m={k={v=1}}},after=1");
    EXPECT_STREQ(set.Get("layout"), "A:name=a,link={x,y}+B:m={k={v=1}}");
    EXPECT_STREQ(set.Get("after"), "1");
}

TEST(AttrSet, KeepsValuesUnchanged) {
    AttrSet set;
    ASSERT_TRUE(set.Parse("url=file:///mnt/sd/a=b/c.mp4,dr=15/30,pre=5s,tp=12 ms,f=%Y-%m-%d_%H-%M-%S,p=a+b"));
    EXPECT_STREQ(set.Get("url"), "file:///mnt/sd/a=b/c.mp4");
    EXPECT_STREQ(set.Get("dr"), "15/30");
    EXPECT_STREQ(set.Get("pre"), "5s");
    EXPECT_STREQ(set.Get("tp"), "12 ms");
    EXPECT_STREQ(set.Get("f"), "%Y-%m-%d_%H-%M-%S");
    EXPECT_STREQ(set.Get("p"), "a+b");
}

TEST(AttrSet, EmptyTextsAreEmptySets) {
    for (const char* text : {"", "  ", "{}", " { } "}) {
        AttrSet set("a=1");
        EXPECT_TRUE(set.Parse(text)) << text;
        EXPECT_EQ(items(set), Texts{}) << text;
    }
}

TEST(AttrSet, AcceptsBracesAroundTheWholeText) {
    EXPECT_EQ(items(AttrSet("{a=1,b={c}}")), (Texts{"a=1", "b=c"}));
}

TEST(AttrSet, IgnoresBlanksAroundKeys) {
    EXPECT_EQ(items(AttrSet(" a = 1,\n b= {c} ,d=2 ")), (Texts{"a= 1", "b=c", "d=2"}));
}

TEST(AttrSet, KeepsEmptyValues) {
    const AttrSet set("a=,b={},c=");
    EXPECT_EQ(items(set), (Texts{"a=", "b=", "c="}));
}

TEST(AttrSet, TheLastOfEqualKeysWins) {
    EXPECT_EQ(items(AttrSet("a=1,b=2,a=3")), (Texts{"a=3", "b=2"}));
}

/** "k000000=0,k000001=1" and so on: keys of one length. */
std::string manyItems(int count) {
    std::string text;
    for (int i = 0; i < count; ++i) {
        const std::string number = std::to_string(i);
        text += (i ? ",k" : "k") + std::string(6 - number.size(), '0') + number + "=" + number;
    }
    return text;
}

TEST(AttrSet, ComparesFewKeysPerLookUpInALargeSet) {
    constexpr int kItems = 8000;
    const std::string text = manyItems(kItems);
    AttrSet set;
    comparisons = 0;
    ASSERT_TRUE(set.Parse((text + "," + text).c_str()));
    EXPECT_GE(comparisons, std::size_t{kItems}) << "keys are not compared by the wrapped functions";
    EXPECT_LE(comparisons, std::size_t{kItems} * 10);
    comparisons = 0;
    for (int i = 0; i < kItems; ++i) ASSERT_TRUE(set.Add(("new" + std::to_string(i)).c_str(), "1"));
    for (int i = 0; i < kItems; ++i) ASSERT_TRUE(set.Get(("new" + std::to_string(i)).c_str()));
    EXPECT_LE(comparisons, std::size_t{kItems} * 10);
}

TEST(AttrSet, KeepsTheOrderOfManyItemsAndTheLastOfEqualKeys) {
    for (const int count : {1, 15, 16, 17, 18, 1000}) {
        const std::string text = manyItems(count);
        AttrSet set((text + ",k000000=last,other=1").c_str());
        Texts expected;
        for (int i = 0; i < count; ++i) {
            const std::string number = std::to_string(i);
            expected.push_back("k" + std::string(6 - number.size(), '0') + number + "=" + number);
        }
        expected[0] = "k000000=last";
        expected.push_back("other=1");
        EXPECT_EQ(items(set), expected);
        EXPECT_STREQ(set.Get("k000000"), "last");
        EXPECT_STREQ(set.Get("other"), "1");
        EXPECT_EQ(set.Get("k"), nullptr);

        AttrSet copy(set);
        AttrSet assigned("a=1");
        assigned = set;
        set.Parse("gone=1");
        for (AttrSet* const each : {&copy, &assigned}) {
            EXPECT_EQ(items(*each), expected);
            EXPECT_TRUE(each->Add("other", "2"));
            EXPECT_TRUE(each->Add("another", "3"));
            EXPECT_STREQ(each->Get("other"), "2");
            EXPECT_STREQ(each->Get("another"), "3");
            EXPECT_EQ(items(*each).size(), expected.size() + 1);
        }
    }
}

TEST(AttrSet, KeysAreCaseSensitive) {
    const AttrSet set("PowerFailProtection=true");
    EXPECT_EQ(set.Get("powerFailProtection"), nullptr);
    EXPECT_STREQ(set.Get("PowerFailProtection"), "true");
}

TEST(AttrSet, RefusalLeavesItEmpty) {
    for (const char* text :
         {"a", "a=1,", ",a=1", "=1", "a={1", "a=1}", "a={1}x", "a=x{1}", "{a=1}b", "+a=1"}) {
        AttrSet set("z=1");
        EXPECT_FALSE(set.Parse(text)) << text;
        EXPECT_EQ(items(set), Texts{}) << text;
    }
    AttrSet set("z=1");
    EXPECT_FALSE(set.Parse(nullptr));
    EXPECT_EQ(items(set), Texts{});
}

TEST(AttrSet, ParsesOneOfItsOwnValues) {
    AttrSet set("inner={a=1,b=2}");
    ASSERT_TRUE(set.Parse(set.Get("inner")));
    EXPECT_EQ(items(set), (Texts{"a=1", "b=2"}));
}

TEST(AttrSet, AddReplacesInPlaceAndAppendsAtTheEnd) {
    AttrSet set("a=1,b=2");
    EXPECT_TRUE(set.Add("a", "9"));
    EXPECT_TRUE(set.Add("id", 42));
    EXPECT_TRUE(set.Add("on", true));
    EXPECT_EQ(items(set), (Texts{"a=9", "b=2", "id=42", "on=true"}));
}

TEST(AttrSet, AddAcceptsAValueOfTheSetItself) {
    AttrSet set("a=1,b=2");
    EXPECT_TRUE(set.Add("a", set.Get("b")));
    EXPECT_EQ(items(set), (Texts{"a=2", "b=2"}));
}

TEST(AttrSet, AddRefusesKeysAndValuesThatTextCannotExpress) {
    AttrSet set("a=1");
    for (const char* key : {"", " k", "k ", "k=", "k,", "k{", "k}", "k+"})
        EXPECT_FALSE(set.Add(key, "v")) << key;
    for (const char* value : {"{", "}", "}{", "{}}"}) EXPECT_FALSE(set.Add("k", value)) << value;
    const char* const none = nullptr;
    EXPECT_FALSE(set.Add("k", none));
    EXPECT_FALSE(set.Add(none, "v"));
    EXPECT_EQ(items(set), (Texts{"a=1"}));
}

TEST(AttrSet, ReturnsDefaultsForAbsentAndUnreadableValues) {
    const AttrSet set("n=15,t=abc,f=on");
    EXPECT_EQ(set.GetOrDef<int>("n", 1), 15);
    EXPECT_EQ(set.GetOrDef<int>("absent", 7), 7);
    EXPECT_EQ(set.GetOrDef<int>("t", 7), 7);
    EXPECT_TRUE(set.GetOrDef<bool>("f", false));
    EXPECT_STREQ(set.GetOrDef("t", "x"), "abc");
    EXPECT_STREQ(set.GetOrDef("absent", "x"), "x");
    EXPECT_EQ(set.Get(nullptr), nullptr);
}

TEST(AttrSet, ToStringAddsBracesWhereNeeded) {
    AttrSet set;
    set.Add("plain", "a b");
    set.Add("list", "a,b");
    set.Add("chain", "a+b");
    set.Add("pair", "a=b");
    set.Add("inner", "a{b}");
    set.Add("blank", " x");
    set.Add("none", "");
    EXPECT_EQ(set.ToString(false),
              "plain=a b,list={a,b},chain={a+b},pair={a=b},inner={a{b}},blank={ x},none=");
    EXPECT_EQ(AttrSet("a=1").ToString(true), "{a=1}");
    EXPECT_EQ(AttrSet().ToString(false), "");
    EXPECT_EQ(AttrSet().ToString(true), "{}");
    for (const bool braced : {false, true}) {
        EXPECT_EQ(items(AttrSet(set.ToString(braced).c_str())), items(set));
    }
}

TEST(AttrSet, CopiesAreIndependent) {
    AttrSet first("a=1");
    AttrSet second(first);
    first.Add("a", "2");
    EXPECT_EQ(items(second), (Texts{"a=1"}));
    second = first;
    AttrSet& same = second;
    second = same;
    first.Add("b", "3");
    EXPECT_EQ(items(second), (Texts{"a=2"}));
}

TEST(AttrSet, LimitsTheNestingDepth) {
    const auto nested = [](int depth) {
        return "a=" + std::string(static_cast<std::size_t>(depth), '{') +
               std::string(static_cast<std::size_t>(depth), '}');
    };
    AttrSet set;
    EXPECT_TRUE(set.Parse(nested(kep::host::kMaxNesting).c_str()));
    AttrSet again;
    EXPECT_TRUE(again.Parse(set.ToString(true).c_str()));
    EXPECT_EQ(items(again), items(set));
    EXPECT_FALSE(set.Parse(nested(kep::host::kMaxNesting + 1).c_str()));
    EXPECT_FALSE(set.Parse(nested(1000000).c_str()));
    EXPECT_FALSE(set.Parse(std::string(1000000, '{').c_str()));
}

/** Collects the errors reported to the hook while it lives, as `text|offset|message;`. */
class ReportedErrors {
  public:
    ReportedErrors() {
        heard.clear();
        kep::host::setTextErrorHook([](std::string_view text, const kep::host::TextError& error) {
            heard += std::string(text) + "|" + std::to_string(error.offset) + "|" + error.message + ";";
        });
    }
    ReportedErrors(const ReportedErrors&) = delete;
    ReportedErrors& operator=(const ReportedErrors&) = delete;
    ~ReportedErrors() { kep::host::setTextErrorHook(nullptr); }

    const std::string& text() const { return heard; }

  private:
    static inline std::string heard;
};

TEST(AttrSet, ReportsARefusalToTheHook) {
    AttrSet set;
    std::string heard;
    {
        const ReportedErrors reported;
        set.Parse("a=1,b");
        set.Parse("a=1");
        set.Parse(nullptr);
        heard = reported.text();
    }
    set.Parse("c");
    EXPECT_EQ(heard, "a=1,b|5|'=' is missing after \"b\";|0|text is null;");
}

TEST(AttrSet, ReportsUnreadKeys) {
    const ReportedErrors reported;
    {
        AttrSet set("gop=15,gopp=3");
        EXPECT_EQ(set.GetOrDef<int>("gop", 1), 15);
        EXPECT_STREQ(set.GetOrDef("codec", "h264"), "h264");
        EXPECT_EQ(reported.text(), "");
    }
    EXPECT_EQ(reported.text(), "gop=15,gopp=3|7|unknown key \"gopp\";");
}

TEST(AttrSet, ReportsAllUnreadKeysInOneLine) {
    const ReportedErrors reported;
    AttrSet set("a={b=1},b=2,c=3,d=4");
    EXPECT_STREQ(set.Get("c"), "3");
    set.Parse("");
    EXPECT_EQ(reported.text(), "a={b=1},b=2,c=3,d=4|0|unknown key \"a\" and 2 more;");
}

TEST(AttrSet, ReportsUnreadKeysWhenASetIsReplaced) {
    const ReportedErrors reported;
    AttrSet set("b=2");
    EXPECT_EQ(set.Get("a"), nullptr);
    set = AttrSet();
    EXPECT_EQ(reported.text(), "b=2|0|unknown key \"b\";");
}

TEST(AttrSet, ReportsNoUnreadKeysAfterIterationOrCopyingOrOfAMessage) {
    const ReportedErrors reported;
    { const AttrSet untouched("a=1,b=2"); }
    {
        const AttrSet walked("a=1,b=2");
        EXPECT_STREQ(walked.Get("a"), "1");
        EXPECT_STREQ(walked.Key(0), "a");
    }
    {
        const AttrSet shown("a=1,b=2");
        EXPECT_STREQ(shown.Get("a"), "1");
        EXPECT_EQ(shown.ToString(false), "a=1,b=2");
    }
    {
        const AttrSet copied("a=1,b=2");
        const AttrSet copy(copied);
        EXPECT_STREQ(copied.Get("a"), "1");
        EXPECT_STREQ(copy.Get("b"), "2");
    }
    {
        const AttrSet message("name=recordStop,url=file:///a.mp4");
        EXPECT_STREQ(message.Get("name"), "recordStop");
    }
    {
        AttrSet filled;
        filled.Add("a", "1");
        EXPECT_EQ(filled.Get("b"), nullptr);
    }
    EXPECT_EQ(reported.text(), "");
}

TEST(AttrSet, ReportsValuesThatDoNotConvert) {
    const ReportedErrors reported;
    const AttrSet set("a=abc,b=99999999999,c=perhaps,d=12");
    EXPECT_EQ(set.GetOrDef<int>("a", 7), 7);
    EXPECT_EQ(set.GetOrDef<int>("b", 7), 7);
    EXPECT_EQ(set.GetOrDef<bool>("c", true), true);
    EXPECT_EQ(set.GetOrDef<int>("d", 7), 12);
    EXPECT_EQ(reported.text(),
              "abc|0|not a 32-bit integer;99999999999|0|not a 32-bit integer;"
              "perhaps|0|neither true nor false;");
}

}  // namespace
