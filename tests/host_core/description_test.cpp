#include "text/description.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace kep::host;

/** The number after "at position" in a place's text. */
std::size_t positionOf(const std::string& place) {
    return std::stoul(place.substr(std::string(" at position ").size()));
}

TEST(Description, ParsesAChain) {
    const std::string text =
        "ShmSource:connect={type=pipeline,name=plPreRecordAac},name=asrc+FifoFilter:name=afifo,max=8+"
        "FrameDroper"
        " + Sync:name=sync,link={afifo,vfifo}";
    Description chain(text);
    TextError error;
    ASSERT_TRUE(chain.parseChain(error)) << error.message;
    std::vector<Description>& elements = chain.elements();
    ASSERT_EQ(elements.size(), 4u);
    EXPECT_STREQ(elements[0].attributes().Get("type"), "ShmSource");
    EXPECT_STREQ(elements[0].attributes().Get("connect"), "type=pipeline,name=plPreRecordAac");
    EXPECT_STREQ(elements[0].attributes().Get("name"), "asrc");
    EXPECT_EQ(elements[1].attributes().ToString(false), "name=afifo,max=8,type=FifoFilter");
    EXPECT_EQ(elements[2].attributes().ToString(false), "type=FrameDroper");
    EXPECT_STREQ(elements[3].attributes().Get("link"), "afifo,vfifo");
    for (Description& element : elements) {
        EXPECT_EQ(text.find(element.attributes().Get("type")) + 1, positionOf(element.place(0)));
        EXPECT_EQ(element.placeOfType(), element.place(0));
    }
}

TEST(Description, NestedPartsHaveTheirPositionInTheWholeText) {
    const std::string text = "type=x,layout={type=p,layout={A:o={z}+B:o={type=y,o=z}}}";
    TextError error;
    Description whole(text);
    ASSERT_TRUE(whole.parseItems(error));
    EXPECT_EQ(positionOf(whole.placeOfType()), text.find('x') + 1);
    Description* const pipeline = whole.value("layout");
    ASSERT_TRUE(pipeline && pipeline->parseItems(error));
    EXPECT_EQ(positionOf(pipeline->placeOfType()), text.find("p,") + 1);
    Description* const chain = pipeline->value("layout");
    ASSERT_TRUE(chain && chain->parseChain(error));
    Description* const inner = chain->elements()[1].value("o");
    ASSERT_TRUE(inner && inner->parseItems(error));
    EXPECT_EQ(positionOf(inner->placeOfType()), text.find("=y") + 2);
    EXPECT_EQ(positionOf(inner->value("o")->place(0)), text.rfind('z') + 1);
    EXPECT_EQ(inner->value("o")->place(0),
              " at position " + std::to_string(text.rfind('z') + 1) + " of \"" + text + "\"");
    EXPECT_EQ(inner->value("none"), nullptr);
}

TEST(Description, TheLastOfEqualKeysWins) {
    Description description("a={b},type=x,a={c},type=y");
    TextError error;
    ASSERT_TRUE(description.parseItems(error));
    EXPECT_EQ(description.value("a")->text(), "c");
    EXPECT_STREQ(description.attributes().Get("a"), "c");
    EXPECT_EQ(positionOf(description.placeOfType()), 25u);
}

TEST(Description, IsParsedOnce) {
    Description description("a={b=c}");
    TextError error;
    ASSERT_TRUE(description.parseItems(error));
    const kep::base::AttrSet* const attributes = &description.attributes();
    Description* const value = description.value("a");
    ASSERT_TRUE(description.parseItems(error));
    EXPECT_EQ(&description.attributes(), attributes);
    EXPECT_EQ(description.value("a"), value);
    Description chain("A+B");
    ASSERT_TRUE(chain.parseChain(error));
    ASSERT_TRUE(chain.parseChain(error));
    EXPECT_EQ(chain.elements().size(), 2u);
}

TEST(Description, AnElementsTypeEndsAtTheFirstColon) {
    Description chain("muxer-fmp4:url=file:///a.mp4");
    TextError error;
    ASSERT_TRUE(chain.parseChain(error));
    EXPECT_STREQ(chain.elements()[0].attributes().Get("type"), "muxer-fmp4");
    EXPECT_STREQ(chain.elements()[0].attributes().Get("url"), "file:///a.mp4");
}

TEST(Description, AnEmptyTextIsAnEmptyChain) {
    Description chain("");
    TextError error;
    EXPECT_TRUE(chain.parseChain(error));
    EXPECT_TRUE(chain.elements().empty());
}

TEST(Description, ReportsThePositionOfErrorsInChains) {
    struct Refusal {
        const char* text;
        std::size_t offset;
        const char* message;
    };
    for (const Refusal& refusal :
         {Refusal{"A+", 2, "an element's type is missing"}, Refusal{"+A", 0, "an element's type is missing"},
          Refusal{"A++B", 2, "an element's type is missing"},
          Refusal{":a=1", 0, "an element's type is missing"},
          Refusal{"A+b=1", 3, "'=' where an element's type is expected"},
          Refusal{"A:a=1+B:c", 9, "'=' is missing after \"c\""},
          Refusal{"A:a={1+B", 4, "'{' is never closed"},
          Refusal{"A:a=1}+B", 5, "'}' without a '{' before it"},
          Refusal{"A:url=x+y.mp4,dbg=false", 13, "',' where an element's type is expected"}}) {
        Description chain(refusal.text);
        TextError error;
        EXPECT_FALSE(chain.parseChain(error)) << refusal.text;
        EXPECT_TRUE(chain.elements().empty());
        EXPECT_EQ(error.offset, refusal.offset) << refusal.text;
        EXPECT_EQ(error.message, refusal.message) << refusal.text;
    }
}

TEST(Description, DistinguishesChainsFromSets) {
    for (const char* text : {"A", "A:b=c", "A+B", "FrameDroper", "muxer-ts:url={file:///a,b=c}"}) {
        EXPECT_TRUE(Description(text).isChain()) << text;
    }
    for (const char* text : {"", " ", "type=pipeline,layout={A:b=c}", "a=b+c", "a,b", "{A}"}) {
        EXPECT_FALSE(Description(text).isChain()) << text;
    }
}

TEST(Description, ParsesAList) {
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
