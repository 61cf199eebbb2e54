#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "error_lines.h"
#include "kep/entry_points.h"
#include "parts.h"

namespace {

using kep::State;
using Texts = std::vector<std::string>;

/** A part "p" with the children "a", "b" and "c". */
class States : public testing::Test {
  protected:
    States() {
        partEvents.clear();
        root.reset(make("p"));
        for (const char* name : {"a", "b", "c"}) root->addChild(children.emplace_back(make(name)));
    }

    static Part* make(const std::string& name) {
        return kepCreate(("type=TestPart,name=" + name).c_str())->AsType<Part>();
    }

    Texts events() {
        Texts taken;
        taken.swap(partEvents);
        return taken;
    }

    std::unique_ptr<Part> root;
    std::vector<Part*> children;
};

TEST_F(States, ChangeUpStepByStepTheLastChildFirst) {
    EXPECT_TRUE(root->SetStr("statusup", "play"));
    EXPECT_EQ(events(), (Texts{"p up ready", "c up ready", "b up ready", "a up ready", "p up play",
                               "c up play", "b up play", "a up play"}));
    EXPECT_TRUE(root->StatusIsPlay());
    EXPECT_TRUE(children[0]->StatusIsPlay());
}

TEST_F(States, ChangeDownStepByStepTheFirstChildFirst) {
    root->changeUp(State::play);
    events();
    EXPECT_TRUE(root->SetStr("statusdown", "null"));
    EXPECT_EQ(events(), (Texts{"p down ready", "a down ready", "b down ready", "c down ready", "p down null",
                               "a down null", "b down null", "c down null"}));
    EXPECT_EQ(root->state(), State::null);
}

TEST_F(States, DoNotChangeWhenTheTargetIsAlreadyReached) {
    EXPECT_TRUE(root->SetStr("statusdown", "ready"));
    EXPECT_EQ(events(), Texts{});
    root->changeUp(State::play);
    events();
    EXPECT_TRUE(root->SetStr("statusup", "ready"));
    EXPECT_TRUE(root->SetStr("statusup", "play"));
    EXPECT_EQ(events(), Texts{});
    EXPECT_TRUE(root->StatusIsPlay());
}

TEST_F(States, StatusChangesInBothDirections) {
    EXPECT_TRUE(root->SetStr("status", "PLAY"));
    EXPECT_EQ(root->state(), State::play);
    EXPECT_TRUE(root->SetStr("status", "ready"));
    EXPECT_EQ(root->state(), State::ready);
    std::string text;
    EXPECT_TRUE(root->Get("status", &text, &typeid(text)));
    EXPECT_EQ(text, "ready");
}

TEST_F(States, AnUnknownStateIsRefusedWithOneLine) {
    const ErrorLines lines;
    EXPECT_FALSE(root->SetStr("statusup", "running"));
    EXPECT_EQ(lines.messages(),
              (Texts{"\"running\" is not a state of TestPart \"p\": states are null, ready and play"}));
    EXPECT_EQ(events(), Texts{});
}

TEST_F(States, ARefusalOfAChildRollsTheOthersBack) {
    children[1]->refuses = "play";
    EXPECT_FALSE(root->changeUp(State::play));
    EXPECT_EQ(root->state(), State::ready);
    for (const Part* child : children) EXPECT_EQ(child->state(), State::ready);
    EXPECT_EQ(events(), (Texts{"p up ready", "c up ready", "b up ready", "a up ready", "p up play",
                               "c up play", "c down ready"}));
    children[1]->refuses.clear();
    EXPECT_TRUE(root->changeUp(State::play));
    for (const Part* child : children) EXPECT_EQ(child->state(), State::play);
}

TEST_F(States, ChangeDownReachesEveryChildDespiteARefusal) {
    root->changeUp(State::play);
    children[0]->refuses = "down ready";
    EXPECT_FALSE(root->changeDown(State::null));
    for (const Part* child : children) EXPECT_EQ(child->state(), State::null);
    EXPECT_EQ(root->state(), State::null);
}

TEST_F(States, DisabledChildrenAreSkipped) {
    EXPECT_TRUE(children[1]->Enable(false));
    EXPECT_TRUE(root->changeUp(State::play));
    EXPECT_EQ(children[1]->state(), State::null);
    EXPECT_EQ(children[0]->state(), State::play);
    EXPECT_TRUE(children[0]->Enable(false));
    EXPECT_EQ(children[0]->state(), State::null);
    const ErrorLines lines;
    EXPECT_FALSE(children[0]->changeUp(State::play));
    EXPECT_EQ(lines.messages(), (Texts{"TestPart \"a\" is disabled and cannot be started"}));
    EXPECT_TRUE(children[0]->Enable(true));
    EXPECT_TRUE(children[0]->changeUp(State::play));
}

TEST_F(States, DeletingAPlayingObjectStopsIt) {
    root->changeUp(State::play);
    events();
    root.reset();
    EXPECT_EQ(events(), (Texts{"p down ready", "a down ready", "b down ready", "c down ready", "p down null",
                               "a down null", "b down null", "c down null"}));
}

}  // namespace
