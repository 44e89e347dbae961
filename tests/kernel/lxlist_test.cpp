// tLXLIST: creation rules, the index rules of insert, delete and move,
// owned items, the exact bisection of the sorted finds, both sorts, bad
// lists and the lock.
#include "kernel/lxlist.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace {

using ListPtr = std::unique_ptr<tLXLIST, decltype(&LxList_Destroy)>;

ListPtr MakeList(LONG itemSize, LONG capacity, LONG growBy, DWORD options) {
    tLXLIST *list = nullptr;
    EXPECT_EQ(LX_S_OK, LxList_CreateExZ(&list, itemSize, capacity, growBy, options, 0, 0, 0));
    return ListPtr(list, LxList_Destroy);
}

// A plain list of 32-bit values, one per character.
ListPtr PlainOf(const std::string &values) {
    ListPtr list = MakeList(4, 4, 4, 0);
    std::vector<DWORD> v(values.begin(), values.end());
    if (!v.empty()) { EXPECT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, &v[0], v.size())); }
    return list;
}

// The last 32-bit word of each slot as a character; in a heap list, the item's.
std::string Text(const tLXLIST *list) {
    std::string s;
    for (LONG i = 0; i < list->count; i++) {
        const BYTE *slot = (const BYTE *)list->items + i * list->itemSize;
        s += (list->options & LXLIST_HEAP) ? **(const char **)slot
                                           : (char)*(const DWORD *)(slot + list->itemSize - 4);
    }
    return s;
}

bool TailIsZero(const tLXLIST *list) {
    const BYTE *p = (const BYTE *)list->items;
    size_t w = (size_t)list->itemSize;
    return std::all_of(p + list->count * w, p + list->allocated * w, [](BYTE b) { return !b; });
}

const void *AsKey(char v) { return (const void *)(uintptr_t)(BYTE)v; }

int LXCALLBACK CompareValues(DWORD, const void *a, const void *b) {
    DWORD x = (DWORD)(uintptr_t)a, y = (DWORD)(uintptr_t)b;
    return x < y ? -1 : x > y ? 1 : 0;
}

int LXCALLBACK MatchChar(void *data, const void *item) {
    return *(const char *)data == *(const char *)item ? 0 : 1;
}

// The comparison sees the key only, so the id shows where equal keys went.
struct Keyed {
    LONG key, id;
};
DWORD g_criteria;

int LXCALLBACK CompareKeyed(DWORD criteria, const void *a, const void *b) {
    g_criteria = criteria;
    LONG x = ((const Keyed *)a)->key, y = ((const Keyed *)b)->key;
    return x < y ? -1 : x > y ? 1 : 0;
}

ListPtr KeyedOf(const std::vector<Keyed> &items) {
    ListPtr list = MakeList(sizeof(Keyed), 4, 4, LXLIST_ARRAY);
    for (const Keyed &k : items) EXPECT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, &k, 1));
    return list;
}

TEST(LxListCreate, SizesClampsAndRefusals) {
    struct Row {
        DWORD options;
        LONG itemSize, capacity, growBy, wantItemSize, wantAllocated, wantGrowBy;
    } rows[] = {
        {LXLIST_ARRAY, 10, 4, 4, 12, 4, 4}, {0, 100, 5, 2, 4, 8, 4},
        {0, 4, -1, -1, 4, 16, 16},          {0, 4, 1, 100000, 4, 0x10400, 0x10400},
    };
    for (const Row &r : rows) {
        ListPtr list = MakeList(r.itemSize, r.capacity, r.growBy, r.options);
        ASSERT_TRUE(list);
        EXPECT_EQ(std::vector<LONG>({r.wantItemSize, r.wantAllocated, r.wantGrowBy}),
                  std::vector<LONG>({list->itemSize, list->allocated, list->growBy}));
    }
    // An array list's finds compare all 12 bytes of a 10-byte item's slot.
    ListPtr array = MakeList(10, 4, 4, LXLIST_ARRAY);
    BYTE item[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    LxList_InsertList(array.get(), -1, item, 1);
    EXPECT_EQ(0, LxList_FindSpecificItemRange(array.get(), 0, -1, item));
    item[11] = 0;
    EXPECT_EQ(-1, LxList_FindSpecificItemRange(array.get(), 0, -1, item));
    tLXLIST *list = nullptr;
    EXPECT_EQ(LX_E_FAIL, LxList_CreateExZ(&list, 4, 4, 4, LXLIST_HEAP | LXLIST_ARRAY, 0, 0, 0));
    EXPECT_EQ(LX_E_OUTOFMEMORY, LxList_CreateExZ(&list, 1 << 30, 16, 16, LXLIST_ARRAY, 0, 0, 0));
    EXPECT_EQ(LX_E_FAIL, LxList_CreateExZ(&list, 4, 4, 4, LXLIST_PLACED, 0, 0, 0));
}

// Null lists, and a record that runs into an unreadable page.
TEST(LxListGuards, NullListsAndGuardPage) {
    EXPECT_EQ(LX_S_OK, LxList_Destroy(nullptr));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_InsertList(nullptr, 0, "abcd", 1));
    EXPECT_EQ(-1, LxList_FindSortedItemRange(nullptr, AsKey(1), 0, -1, CompareValues));
    SYSTEM_INFO si;
    GetSystemInfo(&si);
    DWORD page = si.dwPageSize, old;
    BYTE *base = (BYTE *)VirtualAlloc(nullptr, 2 * page, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    ASSERT_NE(nullptr, base);
    ASSERT_TRUE(VirtualProtect(base + page, page, PAGE_NOACCESS, &old));
    EXPECT_FALSE(LxList_IsList(base + page, 1));  // the size is refused before any read
    EXPECT_FALSE(LxList_IsList(base + page, sizeof(tLXLIST)));
    tLXLIST *straddle = (tLXLIST *)(base + page - offsetof(tLXLIST, tag) - 4);
    straddle->tag = LXLIST_TAG;
    EXPECT_FALSE(LxList_IsList(straddle, sizeof(tLXLIST)));
    tLXLIST *inside = (tLXLIST *)(base + page - sizeof(tLXLIST));
    inside->tag = LXLIST_TAG;
    EXPECT_TRUE(LxList_IsList(inside, sizeof(tLXLIST)));
    inside->tag = LXLIST_TAG + 1;
    EXPECT_FALSE(LxList_IsList(inside, sizeof(tLXLIST)));
    VirtualFree(base, 0, MEM_RELEASE);
}

// Each row makes one call on "ABCDE"; inserts take from "xyzuvw".
TEST(LxListEdit, IndexCountAndShrinkRules) {
    enum Op { Ins, Del, Move, Shrink };
    struct Row {
        Op op;
        LONG a, b, c;  // index, count; index, count; from, to, count; slots
        HRESULT want;
        const char *after;
    } rows[] = {
        {Ins, -100, 1, 0, LX_S_OK, "ABCDEx"},    {Ins, 5, 1, 0, LX_S_OK, "ABCDEx"},
        {Ins, 2, 3, 0, LX_S_OK, "ABxyzCDE"},     {Ins, 1, -2, 0, LX_S_OK, "AxyBCDE"},
        {Ins, 1, 0, 0, LX_S_OK, "ABCDE"},        {Del, 99, 0, 0, LX_S_OK, "ABCDE"},
        {Del, 5, 1, 0, LX_E_FAIL, "ABCDE"},      {Del, -1, 1, 0, LX_E_FAIL, "ABCDE"},
        {Del, -1, -1, 0, LX_E_FAIL, "ABCDE"},    {Del, 1, -1, 0, LX_S_OK, "A"},
        {Del, 3, 10, 0, LX_S_OK, "ABC"},         {Del, 1, 2, 0, LX_S_OK, "ADE"},
        {Move, 0, 2, 2, LX_S_OK, "CDABE"},       {Move, 4, 0, 1, LX_S_OK, "EABCD"},
        {Move, 2, -5, 1, LX_S_OK, "CABDE"},      {Move, 0, 1, -1, LX_S_OK, "EABCD"},
        {Move, -1, 0, 1, LX_E_INVALIDARG, "ABCDE"}, {Move, 0, 4, 2, LX_E_FAIL, "ABCDE"},
        {Move, 4, 0, 2, LX_E_FAIL, "ABCDE"},     {Move, 1, 1, 2, LX_S_OK, "ABCDE"},
        {Shrink, 0, 0, 1000, LX_S_OK, "ABCDE"},  // never below the items
    };
    const DWORD src[] = {'x', 'y', 'z', 'u', 'v', 'w'};
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << "op " << r.op << ": " << r.a << " " << r.b << " "
                                        << r.c);
        ListPtr list = PlainOf("ABCDE");
        EXPECT_EQ(r.want, r.op == Ins    ? LxList_InsertList(list.get(), r.a, src, r.b)
                          : r.op == Del  ? LxList_DeleteList(list.get(), r.a, r.b, FALSE)
                          : r.op == Move ? LxList_MoveRange(list.get(), r.a, r.b, r.c)
                                         : LxList_ShrinkAllocated(list.get(), r.c));
        EXPECT_EQ(r.after, Text(list.get()));
        EXPECT_EQ(r.op == Shrink ? 5 : 12, list->allocated);
        EXPECT_TRUE(TailIsZero(list.get()));
    }
    ListPtr list = PlainOf("abcdefghijkl");
    ASSERT_EQ(LX_S_OK, LxList_InsertList(list.get(), 5, src, 6));
    EXPECT_EQ(24, list->allocated);  // by 6 rounded to 8, not by the shortfall of 2
    EXPECT_EQ(LX_E_OUTOFMEMORY, LxList_InsertList(list.get(), 0, src, 0x7FFFFFF0));
    EXPECT_EQ("abcdexyzuvwfghijkl", Text(list.get()));
    EXPECT_EQ(LX_S_OK, LxList_DeleteList(list.get(), 17, 1, TRUE));
    EXPECT_EQ(20, list->allocated);  // 7 free: rounds to 8, too many, one step back to 4
    EXPECT_EQ(LX_S_OK, LxList_DeleteList(list.get(), 16, 1, TRUE));
    EXPECT_EQ(20, list->allocated);  // 4 free is no more than grow-by
    ListPtr empty = PlainOf("");
    EXPECT_EQ(LX_S_OK, LxList_ShrinkAllocated(empty.get(), -1));
    EXPECT_EQ(1, empty->allocated);  // never below one slot
    // A block of 130 slots is more than the 512-byte stack buffer of a move holds.
    std::string many;
    for (int i = 0; i < 200; i++) many += (char)(' ' + i % 90);
    ListPtr big = PlainOf(many);
    ASSERT_EQ(LX_S_OK, LxList_MoveRange(big.get(), 0, 70, 130));
    std::rotate(many.begin(), many.begin() + 130, many.end());
    EXPECT_EQ(many, Text(big.get()));
}

TEST(LxListItems, PendingOwnedAndMovedItems) {
    ListPtr list = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_THREADSAFE);
    void *first = nullptr, *second = nullptr;
    ASSERT_EQ(LX_S_OK, LxList_AllocItem(list.get(), 24, &first));
    EXPECT_EQ(LX_E_FAIL, LxList_AllocItem(list.get(), 24, &second));
    EXPECT_EQ(first, list->pendingItem);
    LONG at = 99;
    EXPECT_EQ(LX_E_FAIL, LxList_AllocAndInsertItem(list.get(), nullptr, 4, -1, &at));
    EXPECT_EQ(-1, at);
    EXPECT_EQ(LX_S_OK, LxList_DeleteList(list.get(), -1, -1, FALSE));
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(list.get(), -1, &first, 1));  // raw slots: count < 0
    // Value, index (- for -1, 9 for 100) and the index it lands at.
    for (const char *p = "d00a-1b00c93e22"; *p; p += 3) {
        LONG index = p[1] == '-' ? -1 : p[1] == '9' ? 100 : p[1] - '0';
        EXPECT_EQ(LX_S_OK, LxList_AllocAndInsertItem(list.get(), p, 1, index, &at));
        EXPECT_EQ(p[2] - '0', at) << p[0];
    }
    EXPECT_EQ("bdeac", Text(list.get()));
    char d = 'd';
    EXPECT_EQ(1, LxList_FindItemRange(list.get(), -5, 3, &d, MatchChar));
    // Moves between heap lists keep the order; a failed range moves nothing.
    ListPtr target = MakeList(4, 4, 4, LXLIST_HEAP);
    LxList_AllocAndInsertItem(target.get(), "X", 1, -1, nullptr);
    EXPECT_EQ(LX_E_FAIL, LxList_MoveItemsBetweenHeapLists(target.get(), 0, list.get(), 1, -1));
    EXPECT_EQ(LX_S_OK, LxList_MoveItemsBetweenHeapLists(target.get(), 9, list.get(), 1, 3));
    EXPECT_EQ("Xdea", Text(target.get()));
    EXPECT_EQ("bc", Text(list.get()));
    EXPECT_EQ(LXLIST_HEAP | LXLIST_THREADSAFE | LXLIST_ANYTHREAD, list->options);
}

// Each row: the list, the key, the range, what the sorted find returns and
// where the key would be inserted. Equal runs pin the exact bisection.
TEST(LxListSortedFind, Bisection) {
    struct Row {
        const char *items;
        char key;
        LONG start, count, found, insertAt;
    } rows[] = {
        {"5555555", '5', 0, -1, 3, 3},    {"55555555", '5', 0, -1, 3, 3},
        {"12222222", '2', 0, -1, 3, 3},   {"22222223", '3', 0, -1, 7, 7},
        {"ACEGIK", 'G', 2, 2, 3, 3},      {"ACEGIK", 'I', 2, 2, -1, 4},   // beyond the range
        {"ACEGIK", 'B', 2, 2, -1, 2},     {"ACEGIK", 'F', 2, 2, -1, 3},   // below, between
        {"ACEGIK", 'C', -3, 3, 1, 1},     {"ACEGIK", 'K', 4, 99, 5, 5},   // start, count cut
        {"ACEGIK", 'Z', 6, -1, -1, 0},    {"ACEGIK", 'H', 3, 0, -1, 0},   // empty ranges give 0
        {"ACEGIK", 'A', 7, -1, -1, -1},                                   // start beyond count
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << r.items << r.key << " " << r.start << " " << r.count);
        ListPtr list = PlainOf(r.items);
        EXPECT_EQ(r.found, LxList_FindSortedItemRange(list.get(), AsKey(r.key), r.start, r.count,
                                                      CompareValues));
        EXPECT_EQ(r.insertAt, LxList_FindSortedInsertIndexRange(list.get(), AsKey(r.key), r.start,
                                                                r.count, CompareValues));
    }
    // Every span length and every key position, present or falling between.
    for (int n = 0; n <= 9; ++n) {
        std::string evens;
        for (int i = 0; i < n; ++i) evens += (char)('a' + 2 * i);
        ListPtr list = PlainOf(evens);
        for (int k = -1; k <= 2 * n; ++k) {
            SCOPED_TRACE(testing::Message() << "span " << n << " key " << k);
            const char key = (char)('a' + k);
            EXPECT_EQ(k >= 0 && k < 2 * n && k % 2 == 0 ? k / 2 : -1,
                      LxList_FindSortedItemRange(list.get(), AsKey(key), 0, -1, CompareValues));
            EXPECT_EQ((k + 1) / 2, LxList_FindSortedInsertIndexRange(list.get(), AsKey(key), 0, -1,
                                                                     CompareValues));
        }
    }
    EXPECT_EQ(-1, LxList_FindSortedInsertIndexRange(PlainOf("1").get(), AsKey(1), 0, -1, nullptr));
}

// Ties show each algorithm's own order: selection from the end keeps the
// first of equals as the best; the heap sort's sift gives its own order.
TEST(LxListSort, ExactOrderAndSortTo) {
    const std::vector<Keyed> input = {{2, 'a'}, {1, 'b'}, {2, 'c'}, {1, 'd'}, {3, 'e'}, {2, 'f'}};
    struct Row {
        std::vector<Keyed> items;
        bool heap;
        const char *order;
    } rows[] = {
        {input, false, "bdcfae"},
        {input, true, "bdcafe"},  // the sift walks on down after a level without a swap
        // Looking at the lone last child on the second level would differ here.
        {{{0, 'a'}, {1, 'b'}, {2, 'c'}, {0, 'd'}, {1, 'e'}, {1, 'f'}}, true, "dabefc"},
    };
    for (const Row &r : rows) {
        ListPtr list = KeyedOf(r.items);
        ASSERT_EQ(LX_S_OK, (r.heap ? LxList_HeapSort : LxList_Sort)(list.get(), 3, CompareKeyed));
        EXPECT_EQ(r.order, Text(list.get()));
        EXPECT_EQ(3u, g_criteria);
    }
    ListPtr keyed = KeyedOf({});
    ASSERT_EQ(LX_S_OK, LxList_SortTo(keyed.get(), KeyedOf(input).get(), 7, CompareKeyed));
    EXPECT_EQ("dbfcae", Text(keyed.get()));  // an equal key goes before the one found
    EXPECT_EQ(7u, g_criteria);
    EXPECT_EQ(LX_E_INVALIDARG, LxList_SortTo(keyed.get(), PlainOf("1").get(), 1, CompareValues));
}

}  // namespace
