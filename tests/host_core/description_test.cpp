#include "core/description.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace kep::host;

TEST(Description, TakesAChainApart) {
    const std::string text =
        "ShmSource:connect={type=pipeline,name=plPreRecordAac},name=asrc+FifoFilter:name=afifo,max=8+"
        "FrameDroper"
        " + Sync:name=sync,link={afifo,vfifo}";
    std::vector<ElementText> elements;
    TextError error;
    ASSERT_TRUE(parseChain(text, elements, error)) << error.message;
    ASSERT_EQ(elements.size(), 4u);
    EXPECT_EQ(elements[0].type, "ShmSource");
    EXPECT_STREQ(elements[0].attributes.Get("connect"), "type=pipeline,name=plPreRecordAac");
    EXPECT_STREQ(elements[0].attributes.Get("name"), "asrc");
    EXPECT_EQ(elements[1].type, "FifoFilter");
    EXPECT_EQ(elements[1].attributes.ToString(false), "name=afifo,max=8");
    EXPECT_EQ(elements[2].type, "FrameDroper");
    EXPECT_EQ(elements[2].attributes.Key(0), nullptr);
    EXPECT_STREQ(elements[3].attributes.Get("link"), "afifo,vfifo");
    for (const ElementText& element : elements) EXPECT_EQ(text.find(element.type), element.offset);
    EXPECT_EQ(text.substr(elements[1].attributesOffset, 10), "name=afifo");
}

TEST(Description, AnElementsTypeEndsAtTheFirstColon) {
    std::vector<ElementText> elements;
    TextError error;
    ASSERT_TRUE(parseChain("muxer-fmp4:url=file:///a.mp4", elements, error));
    EXPECT_EQ(elements[0].type, "muxer-fmp4");
    EXPECT_STREQ(elements[0].attributes.Get("url"), "file:///a.mp4");
}

TEST(Description, NoTextIsAnEmptyChain) {
    std::vector<ElementText> elements;
    TextError error;
    EXPECT_TRUE(parseChain("", elements, error));
    EXPECT_TRUE(elements.empty());
}

TEST(Description, RefusesChainsWithTheirPlace) {
    struct Refusal {
        const char* text;
        std::size_t offset;
        const char* message;
    };
    for (const Refusal& refusal :
         {Refusal{"A+", 2, "an element's type is missing"}, Refusal{"+A", 0, "an element's type is missing"},
          Refusal{"A++B", 2, "an element's type is missing"},
          Refusal{":a=1", 0, "an element's type is missing"},
          Refusal{"A+b=1", 3, "'=' in the place of an element's type"},
          Refusal{"A:a=1+B:c", 9, "'=' is missing after \"c\""},
          Refusal{"A:a={1+B", 4, "'{' is never closed"},
          Refusal{"A:a=1}+B", 5, "'}' without a '{' before it"},
          Refusal{"A:url=x+y.mp4,dbg=false", 13, "',' in the place of an element's type"}}) {
        std::vector<ElementText> elements;
        TextError error;
        EXPECT_FALSE(parseChain(refusal.text, elements, error)) << refusal.text;
        EXPECT_TRUE(elements.empty());
        EXPECT_EQ(error.offset, refusal.offset) << refusal.text;
        EXPECT_EQ(error.message, refusal.message) << refusal.text;
    }
}

TEST(Description, TellsChainsFromSets) {
    for (const char* text : {"A", "A:b=c", "A+B", "FrameDroper", "muxer-ts:url={file:///a,b=c}"}) {
        EXPECT_TRUE(isChain(text)) << text;
    }
    for (const char* text : {"", " ", "type=pipeline,layout={A:b=c}", "a=b+c", "a,b", "{A}"}) {
        EXPECT_FALSE(isChain(text)) << text;
    }
}

TEST(Description, TakesAListApart) {
    std::vector<std::string> entries;
    TextError error;
    ASSERT_TRUE(parseList("afifo, vfifo,{a,b}", entries, error));
    EXPECT_EQ(entries, (std::vector<std::string>{"afifo", "vfifo", "{a,b}"}));
    ASSERT_TRUE(parseList(" ", entries, error));
    EXPECT_TRUE(entries.empty());
    EXPECT_FALSE(parseList("a,,b", entries, error));
    EXPECT_EQ(error.offset, 2u);
    EXPECT_EQ(error.message, "a list entry is missing");
    EXPECT_FALSE(parseList("a,b}", entries, error));
    EXPECT_EQ(error.offset, 3u);
}

}  // namespace
