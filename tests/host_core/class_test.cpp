#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "error_lines.h"
#include "kep/entry_points.h"
#include "kep/reflect.h"
#include "objects/class_registry.h"
#include "objects/creation.h"
#include "parts.h"

namespace {

using kep::base::AttrSet;
using kep::base::IClass;
using kep::host::makeObject;
using Texts = std::vector<std::string>;

TEST(Classes, AreFoundIgnoringCaseAndHyphens) {
    const kep::host::ClassRegistration<Part> source("pv-test-src");
    IClass* const found = IClass::Find("pv-test-src");
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(IClass::Find("PvTestSrc"), found);
    EXPECT_EQ(IClass::Find("pvtestSRC"), found);
    EXPECT_EQ(IClass::FindBeforeNew("PvTestSrc"), found);
    EXPECT_EQ(IClass::Find("PvTest"), nullptr);
    EXPECT_EQ(IClass::Find(""), nullptr);
    EXPECT_EQ(IClass::Find(nullptr), nullptr);
    EXPECT_EQ(IClass::FindBeforeNew(nullptr), nullptr);
}

TEST(Classes, AreUnregisteredWithTheirRegistration) {
    { const kep::host::ClassRegistration<Part> passing("TestPassing"); }
    EXPECT_EQ(IClass::Find("TestPassing"), nullptr);
}

TEST(Classes, ADuplicateNameIsRefused) {
    const ErrorLines lines;
    IClass* const first = IClass::Find("TestPart");
    { const kep::host::ClassRegistration<Part> second("test-part"); }
    EXPECT_EQ(IClass::Find("TestPart"), first);
    EXPECT_EQ(lines.messages(), (Texts{"class test-part is registered twice"}));
}

TEST(Classes, AnUnknownClassIsLoggedOnce) {
    const ErrorLines lines;
    AttrSet attributes("type=NoSuchElement");
    EXPECT_EQ(kep::base::Object::New<kep::base::object>(attributes), nullptr);
    EXPECT_EQ(lines.messages(), (Texts{"unknown class NoSuchElement"}));
}

TEST(Creation, AppliesTheAttributesOfTheDescription) {
    const std::unique_ptr<kep::base::object> made(
        kep::base::Object::New<kep::base::object>("type=testpart,name=a,rate=15,title={x,y}"));
    ASSERT_NE(made, nullptr);
    const Part& part = dynamic_cast<Part&>(*made);
    EXPECT_EQ(part.name(), "a");
    EXPECT_EQ(part.className(), "TestPart");
    EXPECT_EQ(part.rate, 15);
    EXPECT_EQ(part.title, "x,y");
    EXPECT_EQ(made->ToString().substr(0, 21), "type=TestPart,name=a,");
}

TEST(Creation, NoConfigureIgnoresOtherAttributes) {
    const auto made = makeObject("type=TestPart,name=a,rate=15,bad=1,noconfigure=true");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(dynamic_cast<Part&>(*made).rate, 0);
    EXPECT_EQ(made->name(), "a");
}

TEST(Creation, RefusedDescriptionsLeaveNoObject) {
    const ErrorLines lines;
    for (const char* text : {"type=TestPart,name=a,speed=1", "type=TestPart,name=a,rate=x",
                             "type=TestFound,name=a,speed=1", "type=TestThrower", "name=unknown", "type="}) {
        EXPECT_EQ(kepCreate(text), nullptr) << text;
    }
    EXPECT_EQ(partsAlive, 0);
    EXPECT_EQ(lines.messages(),
              (Texts{"TestPart \"a\" has no property \"speed\"",
                     "property \"rate\" of TestPart \"a\": cannot convert \"x\" to its type",
                     "TestFound \"a\" has no property \"speed\"", "cannot create TestThrower: no memory left",
                     "no type in \"name=unknown\"", "unknown class  at position 6 of \"type=\""}));
}

TEST(Creation, NamesOfScopedClassesMayRepeat) {
    const auto first = makeObject("type=TestPart,name=a");
    const auto second = makeObject("type=TestPart,name=a");
    EXPECT_NE(first, second);
}

}  // namespace
