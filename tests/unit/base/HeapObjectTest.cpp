#include <gtest/gtest.h>

#include "base/heapObject.h"

namespace {

class Counted {
public:
    Counted(int& alive, int number) : alive_(alive), number_(number) { ++alive_; }
    ~Counted() { --alive_; }
    Counted(const Counted&) = delete;
    Counted& operator=(const Counted&) = delete;
    int number() const { return number_; }

private:
    int& alive_;
    int number_;
};

TEST(HeapObject, IsConstructedOnceAndDestroyedOnce) {
    int alive = 0;
    Counted* const object = makeOnHeap<Counted>(alive, 7);
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(object->number(), 7);
    EXPECT_EQ(alive, 1);
    destroyOnHeap(object);
    EXPECT_EQ(alive, 0);
}

TEST(HeapObject, NullIsAccepted) {
    destroyOnHeap<Counted>(nullptr);
}

}  // namespace
