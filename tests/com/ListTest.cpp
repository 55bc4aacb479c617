#include <gtest/gtest.h>

#include <vector>

#include "com/ComObject.h"
#include "com/ComPtrList.h"

namespace Vimbrel::test {
namespace {

class Counted final : public ComObject<Implements<IUnknown>> {
public:
    ULONG References() {
        AddRef();
        return Release();
    }
};

std::vector<int> Values(List<int>& list) {
    std::vector<int> values;
    for (auto* node = list.Begin(); node != list.End(); node = node->next) {
        int value = 0;
        EXPECT_EQ(list.GetNodeValue(node, &value), S_OK);
        values.push_back(value);
    }
    return values;
}

TEST(List, KeepsItsOrderAndItsCount) {
    List<int> list;
    EXPECT_EQ(list.PopFront(nullptr), E_INVALIDARG);
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(list.PushBack(i), S_OK);
    EXPECT_EQ(list.InsertNode(0, list.Begin()), S_OK);
    EXPECT_EQ(list.InsertNode(9, list.Begin()->next->next), S_OK);
    EXPECT_EQ(Values(list), (std::vector{0, 1, 9, 2, 3}));
    int value = 0;
    EXPECT_EQ(list.RemoveNode(list.Begin()->next, &value), S_OK);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(list.PopFront(nullptr), S_OK);
    EXPECT_EQ(Values(list), (std::vector{9, 2, 3}));
    EXPECT_EQ(list.Count(), 3u);

    EXPECT_EQ(list.InsertNode(1, nullptr), E_POINTER);
    EXPECT_EQ(list.RemoveNode(nullptr, &value), E_POINTER);
    EXPECT_EQ(list.RemoveNode(list.End(), &value), E_INVALIDARG);
    list.Clear();
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.PushBack(4), S_OK);
    EXPECT_EQ(Values(list), std::vector{4});
}

TEST(ComPtrList, HoldsAReferenceOnEachValueAndGivesOneToReaders) {
    auto object = MakeCom<Counted>();
    {
        ComPtrList<IUnknown, true> list;
        List<IUnknown*>& as_list = list;
        EXPECT_EQ(as_list.InsertNode(object.Get(), list.End()), S_OK);
        EXPECT_EQ(list.PushBack(nullptr), S_OK);
        EXPECT_EQ(list.PushBack(object.Get()), S_OK);
        EXPECT_EQ(list.PushBack(object.Get()), S_OK);
        EXPECT_EQ(object->References(), 4u);
        ComPtr<IUnknown> read;
        EXPECT_EQ(list.Front(read.Put()), S_OK);
        EXPECT_EQ(object->References(), 5u);
        EXPECT_EQ(as_list.RemoveNode(list.Begin(), read.Put()), S_OK);
        EXPECT_EQ(object->References(), 4u);
        EXPECT_EQ(list.PopFront(read.Put()), S_OK);
        EXPECT_FALSE(read);
        EXPECT_EQ(list.PopFront(nullptr), S_OK);
        EXPECT_EQ(object->References(), 2u);
        as_list.Clear();
        EXPECT_EQ(object->References(), 1u);
        list.PushBack(object.Get());
    }
    EXPECT_EQ(object->References(), 1u);

    ComPtrList<Counted, false> strict;
    EXPECT_EQ(strict.PushBack(nullptr), E_POINTER);
    EXPECT_TRUE(strict.IsEmpty());
}

}  // namespace
}  // namespace Vimbrel::test
