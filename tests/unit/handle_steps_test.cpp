/** The handle table, with a whole operation of another thread injected before each atomic access. */
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "vornisa_handle_table.h"

namespace unit {
namespace {

/** The accesses left before the other thread's operation, and that operation. */
int accessesBefore = 0;
std::function<void()> otherThread;

void access() {
    if (!otherThread || accessesBefore-- > 0) return;
    const std::function<void()> once = otherThread;
    otherThread = nullptr;
    once();
}

/** A std::atomic that can run the other thread's operation before each access. */
template <class T>
class Stepped {
  public:
    constexpr Stepped() noexcept = default;
    constexpr Stepped(T value) noexcept : value_(value) {}

    T load() const {
        access();
        return value_.load();
    }
    void store(T value) {
        access();
        value_.store(value);
    }
    T exchange(T value) {
        access();
        return value_.exchange(value);
    }
    T fetch_add(T value) {
        access();
        return value_.fetch_add(value);
    }
    bool compare_exchange_strong(T& expected, T wanted) {
        access();
        return value_.compare_exchange_strong(expected, wanted);
    }

  private:
    std::atomic<T> value_{};
};

struct Object {};

class HandleStepsTest : public ::testing::Test {
  protected:
    using Table = vornisa::HandleTable<Object, Stepped>;

    /** Runs `own` on a new table for each of its accesses, with `other` injected before that access; then
     * `check`. */
    void atEveryStep(const std::function<void()>& own, const std::function<void()>& other,
                     const std::function<void()>& check) {
        int places = 0;
        for (bool injected = true; injected; ++places) {
            ASSERT_LT(places, 10000);
            SCOPED_TRACE("before access " + std::to_string(places));
            table.reset(new Table);
            prepare();
            accessesBefore = places;
            injected = false;
            otherThread = [&] {
                injected = true;
                other();
            };
            own();
            otherThread = nullptr;
            if (injected) check();
            if (HasFatalFailure()) return;
        }
        EXPECT_GT(places, 3);
    }

    virtual void prepare() {}

    /** A handle of `object`, in the slot of the handle `ended` unless that slot is still being cleared. */
    int addInPlaceOf(int ended, Object* object) {
        int handle = table->add(object);
        for (int i = 0; i < 256 && handle % 256 != ended % 256; ++i) {
            table->take(handle);
            handle = table->add(object);
        }
        return handle;
    }

    std::unique_ptr<Table> table;
    Object one;
    Object two;
};

class SharedObjectStepsTest : public HandleStepsTest {
  protected:
    void prepare() override {
        first = table->add(&one);
        second = table->add(&one);
        next = 0;
        left = nullptr;
    }

    int first = 0;
    int second = 0;
    int next = 0;
    Object* left = nullptr;
};

TEST_F(SharedObjectStepsTest, EndingAHandleDoesNotAffectOthers) {
    atEveryStep(
        [&] {
            left = table->take(first);
            table->contains(&one);
        },
        [&] {
            table->take(second);
            next = addInPlaceOf(second, &two);
        },
        [&] {
            EXPECT_EQ(left, &one);
            EXPECT_EQ(table->find(next), &two);
            EXPECT_EQ(table->find(first), nullptr);
            EXPECT_EQ(table->find(second), nullptr);
        });
}

class OneObjectStepsTest : public HandleStepsTest {
  protected:
    void prepare() override {
        handle = table->add(&one);
        next = 0;
        found = taken = nullptr;
    }

    int handle = 0;
    int next = 0;
    Object* found = nullptr;
    Object* taken = nullptr;
};

TEST_F(OneObjectStepsTest, AHandleEndedMeanwhileFindsItsOwnObjectOrNothing) {
    atEveryStep([&] { found = table->find(handle); },
                [&] {
                    table->take(handle);
                    next = addInPlaceOf(handle, &two);
                },
                [&] {
                    EXPECT_TRUE(!found || found == &one);
                    EXPECT_EQ(table->find(next), &two);
                });
}

TEST_F(OneObjectStepsTest, OneOfTwoThreadsThatEndAHandleGetsTheObject) {
    atEveryStep([&] { found = table->take(handle); },
                [&] {
                    taken = table->take(handle);
                    next = addInPlaceOf(handle, &two);
                },
                [&] {
                    EXPECT_NE(found, taken);
                    EXPECT_EQ(found ? found : taken, &one);
                    EXPECT_EQ(table->find(next), &two);
                });
}

TEST_F(OneObjectStepsTest, AHandleBeingCreatedFindsItsObjectOrNothing) {
    atEveryStep([&] { next = table->add(&two); },
                [&] {
                    found = table->find(handle + 1);
                    EXPECT_EQ(table->find(handle), &one);
                },
                [&] {
                    EXPECT_TRUE(!found || found == &two);
                    EXPECT_EQ(next, handle + 1);
                    EXPECT_EQ(table->find(next), &two);
                });
}

TEST_F(OneObjectStepsTest, AHandleBeingEndedFindsItsObjectOrNothing) {
    bool contained = true;
    atEveryStep([&] { taken = table->take(handle); },
                [&] {
                    found = table->find(handle);
                    contained = table->contains(&one);
                },
                [&] {
                    EXPECT_EQ(taken, &one);
                    EXPECT_TRUE(!found || (found == &one && contained));
                    EXPECT_FALSE(table->contains(&one));
                });
}

/** All slots of the first level are taken. */
class FullLevelStepsTest : public HandleStepsTest {
  protected:
    void prepare() override {
        for (int i = 0; i < 256; ++i) last = table->add(&one);
        next = other = 0;
    }

    int last = 0;
    int next = 0;
    int other = 0;
};

TEST_F(FullLevelStepsTest, TwoThreadsThatAddALevelShareIt) {
    atEveryStep([&] { next = table->add(&two); }, [&] { other = table->add(&one); },
                [&] {
                    EXPECT_NE(next, other);
                    EXPECT_EQ(table->find(next), &two);
                    EXPECT_EQ(table->find(other), &one);
                    EXPECT_EQ(table->take(next), &two);
                    EXPECT_EQ(table->take(other), &one);
                    EXPECT_EQ(table->find(last), &one);
                });
}

}  // namespace
}  // namespace unit
