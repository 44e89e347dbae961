// White-box tests of tLXLIST: creation rules, the index rules of insert,
// delete and move, pending items, the heap-list helpers, the exact bisection
// of the sorted finds, both sorts and the lock.
#include "kernel/lxlist.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

struct ListDeleter {
    void operator()(tLXLIST *list) const { LxList_Destroy(list); }
};
using ListPtr = std::unique_ptr<tLXLIST, ListDeleter>;

ListPtr MakeList(LONG itemSize, LONG capacity, LONG growBy, DWORD options) {
    tLXLIST *list = nullptr;
    EXPECT_EQ(LX_S_OK, LxList_CreateExZ(&list, itemSize, capacity, growBy, options, 0, 0, 0));
    return ListPtr(list);
}

// A plain list of 32-bit values.
ListPtr PlainOf(const std::vector<DWORD> &values) {
    ListPtr list = MakeList(4, 4, 4, 0);
    if (!values.empty()) {
        EXPECT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, values.data(), (LONG)values.size()));
    }
    return list;
}

std::vector<DWORD> Values(const tLXLIST *list) {
    const DWORD *p = (const DWORD *)list->items;
    return std::vector<DWORD>(p, p + list->count);
}

// True if every slot from count to allocated is zero.
bool TailIsZero(const tLXLIST *list) {
    const BYTE *p = (const BYTE *)list->items;
    for (size_t i = (size_t)list->count * list->itemSize; i < (size_t)list->allocated * list->itemSize; i++)
        if (p[i]) return false;
    return true;
}

const void *AsKey(DWORD v) { return (const void *)(uintptr_t)v; }

int LXCALLBACK CompareValues(DWORD, const void *a, const void *b) {
    DWORD x = (DWORD)(uintptr_t)a, y = (DWORD)(uintptr_t)b;
    return x < y ? -1 : x > y ? 1 : 0;
}

// Array item with a key and a tag that the comparison ignores, so that the
// placement of equal keys can be seen.
struct Keyed {
    LONG key;
    char id;
};
static_assert(sizeof(Keyed) == 8, "two 32-bit words");

int LXCALLBACK CompareKeyed(DWORD, const void *a, const void *b) {
    LONG x = ((const Keyed *)a)->key, y = ((const Keyed *)b)->key;
    return x < y ? -1 : x > y ? 1 : 0;
}

int LXCALLBACK MatchValue(void *data, const void *item) {
    return *(const DWORD *)data == (DWORD)(uintptr_t)item ? 0 : 1;
}

// 12-byte items: a key, a serial number and a check word that travels along.
struct Serial {
    LONG key;
    LONG serial;
    DWORD check;
};

int LXCALLBACK CompareSerial(DWORD, const void *a, const void *b) {
    LONG x = ((const Serial *)a)->key, y = ((const Serial *)b)->key;
    return x < y ? -1 : x > y ? 1 : 0;
}

LONG g_comparisons;

int LXCALLBACK CountKeyed(DWORD criteria, const void *a, const void *b) {
    g_comparisons++;
    return CompareKeyed(criteria, a, b);
}

std::string Ids(const tLXLIST *list) {
    std::string s;
    for (LONG i = 0; i < list->count; i++) s += ((const Keyed *)list->items)[i].id;
    return s;
}

ListPtr KeyedOf(const std::vector<Keyed> &items) {
    ListPtr list = MakeList(sizeof(Keyed), 4, 4, LXLIST_ARRAY);
    if (!items.empty()) {
        EXPECT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, items.data(), (LONG)items.size()));
    }
    return list;
}

/* ---- Creation ----------------------------------------------------------- */

TEST(LxListCreate, SizesAndClamps) {
    struct Row {
        const char *name;
        DWORD options;
        LONG itemSize, capacity, growBy;
        LONG wantItemSize, wantAllocated, wantGrowBy;
    } rows[] = {
        {"array 10 rounds to 12", LXLIST_ARRAY, 10, 4, 4, 12, 4, 4},
        {"plain ignores item size", 0, 100, 4, 4, 4, 4, 4},
        {"capacity 5 by 4", 0, 4, 5, 4, 4, 8, 4},
        {"capacity -1 by -1", 0, 4, -1, -1, 4, 16, 16},
        {"capacity 3 by 64", 0, 4, 3, 64, 4, 64, 64},
        {"grow-by 2 rises to 4", 0, 4, 6, 2, 4, 8, 4},
        {"grow-by capped", 0, 4, 1, 100000, 4, 0x10400, 0x10400},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ListPtr list = MakeList(r.itemSize, r.capacity, r.growBy, r.options);
        ASSERT_TRUE(list);
        EXPECT_EQ(r.wantItemSize, list->itemSize);
        EXPECT_EQ(r.wantAllocated, list->allocated);
        EXPECT_EQ(r.wantGrowBy, list->growBy);
        EXPECT_EQ(0, list->count);
        EXPECT_TRUE(TailIsZero(list.get()));
        HGLOBAL h = GlobalHandle(list->items);
        ASSERT_NE(nullptr, h);
        EXPECT_GE(GlobalSize(h), (SIZE_T)(r.wantAllocated * r.wantItemSize));
    }
}

TEST(LxListCreate, RefusedArguments) {
    tLXLIST *list = (tLXLIST *)(uintptr_t)0x1234;
    EXPECT_EQ(LX_E_FAIL, LxList_CreateExZ(&list, 4, 4, 4, LXLIST_HEAP | LXLIST_ARRAY, 0, 0, 0));
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(LX_E_INVALIDARG, LxList_CreateExZ(nullptr, 4, 4, 4, 0, 0, 0, 0));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_CreateExZ(&list, 0, 4, 4, LXLIST_ARRAY, 0, 0, 0));
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(LX_E_OUTOFMEMORY, LxList_CreateExZ(&list, 0x40000000, 16, 16, LXLIST_ARRAY, 0, 0, 0));
    EXPECT_EQ(nullptr, list);
}

TEST(LxListCreate, PlacedListLivesInCallerMemory) {
    tLXLIST *none = nullptr;
    EXPECT_EQ(LX_E_FAIL, LxList_CreateExZ(&none, 4, 4, 4, LXLIST_PLACED, 0, 0, 0));

    tLXLIST storage;
    memset(&storage, 0xCC, sizeof storage);
    tLXLIST *list = &storage;
    ASSERT_EQ(LX_S_OK, LxList_CreateExZ(&list, 4, 4, 4, LXLIST_PLACED | LXLIST_THREADSAFE, 0, 0, 0));
    EXPECT_EQ(&storage, list);
    EXPECT_EQ(0, storage.userData);
    EXPECT_EQ(nullptr, storage.pendingItem);
    DWORD v = 7;
    EXPECT_EQ(LX_S_OK, LxList_InsertList(list, -1, &v, 1));
    EXPECT_TRUE(LxList_IsList(&storage, sizeof storage));
    EXPECT_EQ(LX_S_OK, LxList_Destroy(list));
    EXPECT_EQ(0u, storage.tag);
    EXPECT_FALSE(LxList_IsListFast(&storage));
    // A destroyed record is no list any more.
    EXPECT_EQ(LX_E_INVALIDARG, LxList_Destroy(&storage));
}

TEST(LxListCreate, PrivateHeapOnlyForHeapLists) {
    ListPtr heap = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_PRIVATEHEAP);
    EXPECT_NE(nullptr, heap->heap);
    ListPtr plain = MakeList(4, 4, 4, LXLIST_PRIVATEHEAP);
    EXPECT_EQ(nullptr, plain->heap);
    EXPECT_EQ(LXLIST_PRIVATEHEAP | LXLIST_ANYTHREAD, plain->options);
}

/* ---- Identity and fields ---------------------------------------------- */

TEST(LxListIdentity, IsListChecksSizeReadabilityAndTag) {
    ListPtr list = MakeList(4, 4, 4, 0);
    EXPECT_TRUE(LxList_IsList(list.get(), sizeof(tLXLIST)));
    EXPECT_FALSE(LxList_IsList(list.get(), sizeof(tLXLIST) - 4));
    EXPECT_FALSE(LxList_IsList(nullptr, sizeof(tLXLIST)));
    EXPECT_FALSE(LxList_IsList((const void *)(uintptr_t)16, sizeof(tLXLIST)));
    EXPECT_TRUE(LxList_IsListFast(list.get()));
    EXPECT_FALSE(LxList_IsListFast(nullptr));

    SYSTEM_INFO si;
    GetSystemInfo(&si);
    DWORD page = si.dwPageSize;
    BYTE *base = (BYTE *)VirtualAlloc(nullptr, 2 * page, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    ASSERT_NE(nullptr, base);
    DWORD old;
    ASSERT_TRUE(VirtualProtect(base + page, page, PAGE_NOACCESS, &old));

    // Wrong size: refused before any read of the unreadable page.
    EXPECT_FALSE(LxList_IsList(base + page, 1));
    EXPECT_FALSE(LxList_IsList(base + page, sizeof(tLXLIST)));
    // A record whose tag is readable but whose tail runs into the guard page.
    tLXLIST *straddle = (tLXLIST *)(base + page - offsetof(tLXLIST, tag) - 4);
    straddle->tag = LXLIST_TAG;
    EXPECT_FALSE(LxList_IsList(straddle, sizeof(tLXLIST)));
    // The same record wholly inside the readable page.
    tLXLIST *inside = (tLXLIST *)(base + page - sizeof(tLXLIST));
    inside->tag = LXLIST_TAG;
    EXPECT_TRUE(LxList_IsList(inside, sizeof(tLXLIST)));
    inside->tag = 0x54525544;
    EXPECT_FALSE(LxList_IsList(inside, sizeof(tLXLIST)));
    VirtualFree(base, 0, MEM_RELEASE);
}

TEST(LxListIdentity, NullListsAreRefused) {
    EXPECT_EQ(LX_S_OK, LxList_Destroy(nullptr));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_InsertList(nullptr, 0, "abcd", 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_DeleteList(nullptr, 0, 1, FALSE));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_MoveRange(nullptr, 0, 1, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_Sort(nullptr, 0, CompareValues));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_AllocAndInsertItem(nullptr, nullptr, 4, 0, nullptr));
    EXPECT_EQ(-1, LxList_FindSortedItemRange(nullptr, AsKey(1), 0, -1, CompareValues));
    EXPECT_EQ(-1, LxList_FindSpecificItemRange(nullptr, 0, -1, nullptr));
    EXPECT_EQ(-1, LxList_GetUserData(nullptr));
    EXPECT_EQ(0, LxList_AllocSize(nullptr, -1));
    EXPECT_FALSE(LxList_IsValidIndexSlow(nullptr, 0));
}

TEST(LxListIdentity, OwnerZeroAndFileAndLine) {
    ListPtr list = MakeList(4, 4, 4, 0);
    EXPECT_EQ(LX_S_OK, LxList_SetThreadOwner(list.get(), 1234));
    EXPECT_EQ(LX_S_OK, LxList_SetThreadOwner(list.get(), 0));
    EXPECT_EQ(GetCurrentThreadId(), LxList_GetThreadOwner(list.get()));

    char buffer[16] = "unchanged";
    EXPECT_EQ(-1, LxList_GetFileAndLine(list.get(), buffer, sizeof buffer));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(-1, LxList_GetFileAndLine(list.get(), nullptr, 0));

    DWORD v[2] = {1, 2};
    LxList_InsertList(list.get(), -1, v, 2);
    EXPECT_TRUE(LxList_IsValidIndexSlow(list.get(), 1));
    EXPECT_FALSE(LxList_IsValidIndexSlow(list.get(), 2));
    EXPECT_FALSE(LxList_IsValidIndexSlow(list.get(), -1));
}

// Creation sets bit 30, so the owner test only bites once it is cleared.
TEST(LxListThreads, OwnerTestWithBit30Cleared) {
    ListPtr list = PlainOf({5, 1, 3});
    list->options &= ~LXLIST_ANYTHREAD;
    HANDLE refused = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE handedOver = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    DWORD v = 9;
    HRESULT insert = 0, sort = 0, laterInsert = 0;
    LONG find = 0, user = 0;
    DWORD workerId = 0;
    std::thread worker([&] {
        workerId = GetCurrentThreadId();
        insert = LxList_InsertList(list.get(), -1, &v, 1);
        sort = LxList_Sort(list.get(), 0, CompareValues);
        find = LxList_FindSpecificItemRange(list.get(), 0, -1, AsKey(5));
        user = LxList_GetUserData(list.get());
        SetEvent(refused);
        WaitForSingleObject(handedOver, INFINITE);
        laterInsert = LxList_InsertList(list.get(), -1, &v, 1);
    });
    WaitForSingleObject(refused, INFINITE);
    EXPECT_EQ(LX_E_FAIL, insert);
    EXPECT_EQ(LX_E_FAIL, sort);
    EXPECT_EQ(-1, find);
    EXPECT_EQ(-1, user);
    EXPECT_EQ((std::vector<DWORD>{5, 1, 3}), Values(list.get()));

    // The owner hands the list over; from then on only the worker gets in.
    EXPECT_EQ(LX_S_OK, LxList_SetThreadOwner(list.get(), workerId));
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(list.get(), -1, &v, 1));
    EXPECT_EQ(LX_E_FAIL, LxList_SetThreadOwner(list.get(), 0));
    SetEvent(handedOver);
    worker.join();
    EXPECT_EQ(LX_S_OK, laterInsert);
    EXPECT_EQ(workerId, LxList_GetThreadOwner(list.get()));
    EXPECT_EQ((std::vector<DWORD>{5, 1, 3, 9}), Values(list.get()));
    list->options |= LXLIST_ANYTHREAD;
    CloseHandle(refused);
    CloseHandle(handedOver);
}

TEST(LxListThreads, ThreadSafeListLosesNoInserts) {
    const int kThreads = 4, kPerThread = 5000;
    ListPtr plain = MakeList(4, 16, 16, LXLIST_THREADSAFE);
    ListPtr heap = MakeList(4, 16, 16, LXLIST_HEAP | LXLIST_PRIVATEHEAP | LXLIST_THREADSAFE);
    HANDLE go = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; t++) {
        threads.emplace_back([&, t] {
            WaitForSingleObject(go, INFINITE);
            for (int i = 0; i < kPerThread; i++) {
                DWORD v = (DWORD)(t * kPerThread + i);
                LxList_InsertList(plain.get(), (i & 1) ? 0 : -1, &v, 1);
                LxList_AllocAndInsertItem(heap.get(), &v, sizeof v, -1, nullptr);
                if (i % 7 == 0) LxList_IsValidIndexSlow(plain.get(), 0);
            }
        });
    }
    SetEvent(go);
    for (std::thread &t : threads) t.join();
    CloseHandle(go);
    ASSERT_EQ(kThreads * kPerThread, plain->count);
    ASSERT_EQ(kThreads * kPerThread, heap->count);
    std::vector<DWORD> a = Values(plain.get()), b;
    for (LONG i = 0; i < heap->count; i++) b.push_back(*((DWORD **)heap->items)[i]);
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    for (DWORD i = 0; i < (DWORD)a.size(); i++) {
        ASSERT_EQ(i, a[i]);
        ASSERT_EQ(i, b[i]);
    }
}

/* ---- Growth and shrinking ------------------------------------------------ */

TEST(LxListTable, GrowRoundsToGrowBy) {
    ListPtr list = MakeList(4, 8, 8, 0);
    EXPECT_EQ(LX_S_OK, LxList_GrowAllocated(list.get(), 0));
    EXPECT_EQ(16, list->allocated);
    EXPECT_EQ(LX_S_OK, LxList_GrowAllocated(list.get(), -3));
    EXPECT_EQ(24, list->allocated);
    EXPECT_EQ(LX_S_OK, LxList_GrowAllocated(list.get(), 9));
    EXPECT_EQ(40, list->allocated);
    EXPECT_TRUE(TailIsZero(list.get()));
    EXPECT_EQ(LX_E_OUTOFMEMORY, LxList_GrowAllocated(list.get(), 0x7FFFFFF0));
    EXPECT_EQ(40, list->allocated);
}

TEST(LxListTable, ShrinkRules) {
    struct Row {
        const char *name;
        LONG count, slots, wantAllocated;
    } rows[] = {
        // 32 slots by 8.
        {"all free: 27 rounds to 32, one step back", 5, -1, 8},
        {"3 rounds to 8", 5, 3, 24},
        {"exactly the free slots", 0, 32, 1},
        {"zero does nothing", 5, 0, 32},
        {"free below grow-by: nothing", 28, -1, 32},
        {"far too many stops at the items", 5, 1000, 5},
        {"empty list keeps one slot", 0, -1, 1},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ListPtr list = MakeList(4, 32, 8, 0);
        std::vector<DWORD> v(r.count);
        for (LONG i = 0; i < r.count; i++) v[i] = i + 1;
        if (r.count) LxList_InsertList(list.get(), -1, v.data(), r.count);
        EXPECT_EQ(LX_S_OK, LxList_ShrinkAllocated(list.get(), r.slots));
        EXPECT_EQ(r.wantAllocated, list->allocated);
        EXPECT_EQ(v, Values(list.get()));
    }
}

/* ---- Insertion ------------------------------------------------------------- */

TEST(LxListInsert, IndexRules) {
    struct Row {
        const char *name;
        LONG index, n;
        std::vector<DWORD> want;
    } rows[] = {
        {"-100 appends", -100, 1, {10, 20, 30, 7}},
        {"beyond count appends", 100, 1, {10, 20, 30, 7}},
        {"middle", 1, 1, {10, 7, 20, 30}},
        {"three at 2", 2, 3, {10, 20, 7, 8, 9, 30}},
        {"negative count is a slot count", 1, -2, {10, 7, 8, 20, 30}},
        {"zero slots", 1, 0, {10, 20, 30}},
    };
    const DWORD src[] = {7, 8, 9};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ListPtr list = PlainOf({10, 20, 30});
        EXPECT_EQ(LX_S_OK, LxList_InsertList(list.get(), r.index, src, r.n));
        EXPECT_EQ(r.want, Values(list.get()));
        EXPECT_TRUE(TailIsZero(list.get()));
    }
}

TEST(LxListInsert, GrowsByTheNewSlotsRounded) {
    ListPtr list = MakeList(4, 4, 4, 0);
    std::vector<DWORD> v = {1, 2, 3, 4, 5};
    ASSERT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, v.data(), 5));
    EXPECT_EQ(12, list->allocated);  // 4 + 5 rounded to 8
    ASSERT_EQ(LX_S_OK, LxList_InsertList(list.get(), 0, v.data(), 5));
    EXPECT_EQ(12, list->allocated);  // room enough
    ASSERT_EQ(LX_S_OK, LxList_InsertList(list.get(), 5, v.data(), 3));
    EXPECT_EQ(16, list->allocated);  // by 3 rounded to 4, not by the shortfall
    EXPECT_EQ((std::vector<DWORD>{1, 2, 3, 4, 5, 1, 2, 3, 1, 2, 3, 4, 5}), Values(list.get()));
    EXPECT_TRUE(TailIsZero(list.get()));
    EXPECT_EQ(LX_E_OUTOFMEMORY, LxList_InsertList(list.get(), 0, v.data(), 0x7FFFFFF0));
    EXPECT_EQ(13, list->count);
    EXPECT_EQ(16, list->allocated);
}

TEST(LxListInsert, SourceRulesPerForm) {
    ListPtr heap = MakeList(4, 4, 4, LXLIST_HEAP);
    void *item = malloc(16);
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(heap.get(), -1, &item, 1));
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(heap.get(), -1, &item, 0));
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(heap.get(), -1, nullptr, -1));  // nothing pending
    EXPECT_EQ(LX_S_OK, LxList_InsertList(heap.get(), -1, &item, -1));  // raw slot, now owned
    EXPECT_EQ(1, heap->count);
    EXPECT_EQ(item, ((void **)heap->items)[0]);

    ListPtr plain = PlainOf({1});
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(plain.get(), -1, nullptr, 1));
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(plain.get(), -1, nullptr, -1));
    EXPECT_EQ((std::vector<DWORD>{1}), Values(plain.get()));
}

/* ---- Deletion ---------------------------------------------------------------- */

TEST(LxListDelete, IndexAndCountRules) {
    struct Row {
        const char *name;
        LONG index, count;
        HRESULT want;
        std::vector<DWORD> left;
    } rows[] = {
        {"0,0 does nothing", 0, 0, LX_S_OK, {1, 2, 3, 4, 5}},
        {"at count", 5, 1, LX_E_FAIL, {1, 2, 3, 4, 5}},
        {"both negative, nothing pending", -1, -1, LX_E_FAIL, {1, 2, 3, 4, 5}},
        {"to the end", 1, -1, LX_S_OK, {1}},
        {"count cut", 3, 10, LX_S_OK, {1, 2, 3}},
        {"middle", 1, 2, LX_S_OK, {1, 4, 5}},
        {"zero count before the index", 99, 0, LX_S_OK, {1, 2, 3, 4, 5}},
        {"to the end from beyond", 9, -1, LX_S_OK, {1, 2, 3, 4, 5}},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ListPtr list = PlainOf({1, 2, 3, 4, 5});
        EXPECT_EQ(r.want, LxList_DeleteList(list.get(), r.index, r.count, TRUE));
        EXPECT_EQ(r.left, Values(list.get()));
        EXPECT_TRUE(TailIsZero(list.get()));
    }
}

TEST(LxListDelete, ShrinkFlagGivesBackFreeSlots) {
    std::vector<DWORD> v(20);
    for (int i = 0; i < 20; i++) v[i] = i;
    ListPtr kept = PlainOf(v);
    ASSERT_EQ(24, kept->allocated);
    EXPECT_EQ(LX_S_OK, LxList_DeleteList(kept.get(), 5, -1, FALSE));
    EXPECT_EQ(24, kept->allocated);

    ListPtr shrunk = PlainOf(v);
    EXPECT_EQ(LX_S_OK, LxList_DeleteList(shrunk.get(), 5, -1, TRUE));
    // 19 free: rounds to 20, beyond the free slots, one step back to 16.
    EXPECT_EQ(8, shrunk->allocated);
    EXPECT_EQ(LX_S_OK, LxList_DeleteList(shrunk.get(), 4, 1, TRUE));
    EXPECT_EQ(8, shrunk->allocated);  // 4 free is not more than grow-by
    EXPECT_EQ((std::vector<DWORD>{0, 1, 2, 3}), Values(shrunk.get()));
}

/* ---- Moving -------------------------------------------------------------------- */

TEST(LxListMove, MoveRangeRules) {
    struct Row {
        const char *name;
        LONG from, to, count;
        HRESULT want;
        std::vector<DWORD> after;
    } rows[] = {
        {"block forward", 0, 2, 2, LX_S_OK, {'C', 'D', 'A', 'B'}},
        {"last to front", 3, 0, 1, LX_S_OK, {'D', 'A', 'B', 'C'}},
        {"negative to is 0", 2, -5, 1, LX_S_OK, {'C', 'A', 'B', 'D'}},
        {"negative count runs to the end", 0, 1, -1, LX_S_OK, {'D', 'A', 'B', 'C'}},
        {"negative from", -1, 0, 1, LX_E_INVALIDARG, {'A', 'B', 'C', 'D'}},
        {"target range beyond", 0, 3, 2, LX_E_FAIL, {'A', 'B', 'C', 'D'}},
        {"source range beyond", 3, 0, 2, LX_E_FAIL, {'A', 'B', 'C', 'D'}},
        {"same place", 1, 1, 2, LX_S_OK, {'A', 'B', 'C', 'D'}},
        {"zero count", 0, 2, 0, LX_S_OK, {'A', 'B', 'C', 'D'}},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ListPtr list = PlainOf({'A', 'B', 'C', 'D'});
        EXPECT_EQ(r.want, LxList_MoveRange(list.get(), r.from, r.to, r.count));
        EXPECT_EQ(r.after, Values(list.get()));
    }
}

TEST(LxListMove, LargeBlockOfArrayItems) {
    // 20 items of 64 bytes: more than the 512-byte stack buffer holds.
    const LONG kSize = 64, kCount = 30;
    ListPtr list = MakeList(kSize, 32, 32, LXLIST_ARRAY);
    std::vector<BYTE> item(kSize);
    for (LONG i = 0; i < kCount; i++) {
        memset(item.data(), (int)i, kSize);
        LxList_InsertList(list.get(), -1, item.data(), 1);
    }
    ASSERT_EQ(LX_S_OK, LxList_MoveRange(list.get(), 0, 10, 20));
    for (LONG i = 0; i < kCount; i++) {
        SCOPED_TRACE(i);
        BYTE want = (BYTE)(i < 10 ? 20 + i : i - 10);
        const BYTE *slot = (const BYTE *)list->items + i * kSize;
        EXPECT_EQ(want, slot[0]);
        EXPECT_EQ(want, slot[kSize - 1]);
    }
}

TEST(LxListMove, ArrayForceItemCountKeepsOldItems) {
    ListPtr plain = PlainOf({1});
    EXPECT_EQ(LX_E_FAIL, LxList_ArrayForceItemCount(plain.get(), 4, FALSE));

    ListPtr list = MakeList(4, 4, 4, LXLIST_ARRAY);
    DWORD v[3] = {11, 22, 33};
    LxList_InsertList(list.get(), -1, v, 3);
    ASSERT_EQ(LX_S_OK, LxList_ArrayForceItemCount(list.get(), 6, FALSE));
    EXPECT_EQ(6, list->count);
    EXPECT_EQ(8, list->allocated);  // 2 missing slots rounded to 4
    EXPECT_EQ((std::vector<DWORD>{11, 22, 33, 0, 0, 0}), Values(list.get()));

    ASSERT_EQ(LX_S_OK, LxList_ArrayForceItemCount(list.get(), 1, TRUE));
    EXPECT_EQ(1, list->count);
    EXPECT_EQ(8, list->allocated);  // the shrink flag changes nothing
    ASSERT_EQ(LX_S_OK, LxList_ArrayForceItemCount(list.get(), 3, FALSE));
    EXPECT_EQ((std::vector<DWORD>{11, 22, 33}), Values(list.get()));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_ArrayForceItemCount(list.get(), -1, FALSE));
}

/* ---- Owned items ----------------------------------------------------------------- */

TEST(LxListItems, PendingItemLifecycle) {
    ListPtr plain = PlainOf({});
    void *item = (void *)1;
    EXPECT_EQ(LX_E_FAIL, LxList_AllocItem(plain.get(), 8, &item));
    EXPECT_EQ(nullptr, item);

    const DWORD forms[] = {LXLIST_HEAP, LXLIST_HEAP | LXLIST_PRIVATEHEAP};
    for (DWORD form : forms) {
        SCOPED_TRACE(form);
        ListPtr list = MakeList(4, 4, 4, form);
        void *first = nullptr, *second = (void *)1;
        ASSERT_EQ(LX_S_OK, LxList_AllocItem(list.get(), 24, &first));
        ASSERT_NE(nullptr, first);
        EXPECT_EQ(0, memcmp(first, std::vector<BYTE>(24).data(), 24));
        EXPECT_EQ(LX_E_FAIL, LxList_AllocItem(list.get(), 24, &second));
        EXPECT_EQ(nullptr, second);
        EXPECT_EQ(first, list->pendingItem);

        EXPECT_EQ(LX_S_OK, LxList_DeleteList(list.get(), -1, -1, FALSE));
        EXPECT_EQ(nullptr, list->pendingItem);
        EXPECT_EQ(LX_E_FAIL, LxList_DeleteList(list.get(), -1, -1, FALSE));

        void *a = nullptr, *b = nullptr;
        ASSERT_EQ(LX_S_OK, LxList_AllocItem(list.get(), 4, &a));
        ASSERT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, nullptr, -1));
        EXPECT_EQ(nullptr, list->pendingItem);
        ASSERT_EQ(LX_S_OK, LxList_AllocItem(list.get(), 4, &b));
        ASSERT_EQ(LX_S_OK, LxList_InsertList(list.get(), 0, nullptr, -1));
        ASSERT_EQ(2, list->count);
        EXPECT_EQ(b, ((void **)list->items)[0]);
        EXPECT_EQ(a, ((void **)list->items)[1]);
    }
}

TEST(LxListItems, AllocAndInsertItem) {
    ListPtr list = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_PRIVATEHEAP);
    struct Row {
        DWORD value;
        LONG index, wantIndex;
    } rows[] = {{1, -1, 0}, {2, -1, 1}, {3, 100, 2}, {4, 0, 0}, {5, 2, 2}};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.value);
        LONG at = 99;
        EXPECT_EQ(LX_S_OK, LxList_AllocAndInsertItem(list.get(), &r.value, 4, r.index, &at));
        EXPECT_EQ(r.wantIndex, at);
    }
    std::vector<DWORD> got;
    for (LONG i = 0; i < list->count; i++) got.push_back(*((DWORD **)list->items)[i]);
    EXPECT_EQ((std::vector<DWORD>{4, 1, 5, 2, 3}), got);

    LONG at = 99;
    ASSERT_EQ(LX_S_OK, LxList_AllocAndInsertItem(list.get(), nullptr, 16, -1, &at));
    EXPECT_EQ(0, memcmp(((void **)list->items)[at], std::vector<BYTE>(16).data(), 16));

    void *pending;
    ASSERT_EQ(LX_S_OK, LxList_AllocItem(list.get(), 4, &pending));
    EXPECT_EQ(LX_E_FAIL, LxList_AllocAndInsertItem(list.get(), nullptr, 4, -1, &at));
    EXPECT_EQ(-1, at);
    EXPECT_EQ(pending, list->pendingItem);

    ListPtr plain = PlainOf({});
    EXPECT_EQ(LX_E_FAIL, LxList_AllocAndInsertItem(plain.get(), nullptr, 4, -1, &at));
    EXPECT_EQ(-1, at);
}

TEST(LxListItems, ReAllocZeroesOnlyOnThePrivateHeap) {
    ListPtr priv = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_PRIVATEHEAP);
    std::vector<BYTE> fill(8, 0xAB);
    ASSERT_EQ(LX_S_OK, LxList_AllocAndInsertItem(priv.get(), fill.data(), 8, -1, nullptr));
    // Dirty the heap so that a fresh block would not be zero by chance.
    void *junk = HeapAlloc(priv->heap, 0, 256);
    memset(junk, 0xEE, 256);
    HeapFree(priv->heap, 0, junk);
    ASSERT_EQ(LX_S_OK, LxList_ReAllocItem(priv.get(), 0, 256));
    const BYTE *p = (const BYTE *)((void **)priv->items)[0];
    for (int i = 0; i < 256; i++) ASSERT_EQ(i < 8 ? 0xAB : 0, p[i]) << i;
    EXPECT_EQ(256, LxList_AllocSize(priv.get(), 0));

    ListPtr crt = MakeList(4, 4, 4, LXLIST_HEAP);
    ASSERT_EQ(LX_S_OK, LxList_AllocAndInsertItem(crt.get(), fill.data(), 8, -1, nullptr));
    ASSERT_EQ(LX_S_OK, LxList_ReAllocItem(crt.get(), 0, 100));
    EXPECT_EQ(0, memcmp(((void **)crt->items)[0], fill.data(), 8));
    EXPECT_EQ(100, LxList_AllocSize(crt.get(), 0));

    EXPECT_EQ(LX_E_FAIL, LxList_ReAllocItem(crt.get(), 1, 16));
    EXPECT_EQ(LX_E_FAIL, LxList_ReAllocItem(crt.get(), -1, 16));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_ReAllocItem(crt.get(), 0, 0));
    ListPtr array = MakeList(8, 4, 4, LXLIST_ARRAY);
    EXPECT_EQ(LX_E_FAIL, LxList_ReAllocItem(array.get(), 0, 16));
}

TEST(LxListItems, AllocSize) {
    ListPtr array = MakeList(10, 4, 4, LXLIST_ARRAY);
    BYTE item[12] = {0};
    LxList_InsertList(array.get(), -1, item, 1);
    EXPECT_EQ(12, LxList_AllocSize(array.get(), 0));
    EXPECT_EQ(0, LxList_AllocSize(array.get(), 1));
    EXPECT_EQ((LONG)(GlobalSize(GlobalHandle(array->items)) + sizeof(tLXLIST)),
              LxList_AllocSize(array.get(), -1));

    const DWORD forms[] = {LXLIST_HEAP, LXLIST_HEAP | LXLIST_PRIVATEHEAP};
    for (DWORD form : forms) {
        SCOPED_TRACE(form);
        ListPtr heap = MakeList(4, 4, 4, form);
        LxList_AllocAndInsertItem(heap.get(), nullptr, 40, -1, nullptr);
        LxList_AllocAndInsertItem(heap.get(), nullptr, 100, -1, nullptr);
        EXPECT_EQ(40, LxList_AllocSize(heap.get(), 0));
        EXPECT_EQ(100, LxList_AllocSize(heap.get(), 1));
        EXPECT_EQ((LONG)(GlobalSize(GlobalHandle(heap->items)) + sizeof(tLXLIST) + 140),
                  LxList_AllocSize(heap.get(), -1));
    }

    // A plain list counts what its slots point at from the C runtime.
    ListPtr plain = MakeList(4, 4, 4, 0);
    void *a = malloc(24), *b = nullptr;
    LxList_InsertList(plain.get(), -1, &a, 1);
    LxList_InsertList(plain.get(), -1, &b, 1);
    EXPECT_EQ(24, LxList_AllocSize(plain.get(), 0));
    EXPECT_EQ(0, LxList_AllocSize(plain.get(), 1));
    EXPECT_EQ((LONG)(GlobalSize(GlobalHandle(plain->items)) + sizeof(tLXLIST) + 24),
              LxList_AllocSize(plain.get(), -1));
    free(a);
}

/* ---- Moving between heap lists ------------------------------------------------- */

class LxListHeapMove : public ::testing::Test {
protected:
    void SetUp() override {
        source_ = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_THREADSAFE);
        target_ = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_THREADSAFE);
        for (char c : std::string("abcde")) Add(source_.get(), c);
        for (char c : std::string("XY")) Add(target_.get(), c);
    }
    static void Add(tLXLIST *list, char c) {
        LxList_AllocAndInsertItem(list, &c, 1, -1, nullptr);
    }
    static std::string Text(const tLXLIST *list) {
        std::string s;
        for (LONG i = 0; i < list->count; i++) s += *(const char *)((void **)list->items)[i];
        return s;
    }
    ListPtr source_, target_;
};

TEST_F(LxListHeapMove, RangesAndOrder) {
    struct Row {
        const char *name;
        LONG targetIndex, sourceIndex, count;
        HRESULT want;
        const char *target, *source;
    } rows[] = {
        {"middle into middle", 1, 1, 3, LX_S_OK, "XbcdY", "ae"},
        {"negative target index is the end", -1, 0, 2, LX_S_OK, "XYab", "cde"},
        {"target index past the end", 9, 3, 2, LX_S_OK, "XYde", "abc"},
        {"whole source", 0, 0, -1, LX_S_OK, "abcdeXY", ""},
        {"whole source needs index 0", 0, 1, -1, LX_E_FAIL, "XY", "abcde"},
        {"range beyond source", 0, 4, 2, LX_E_FAIL, "XY", "abcde"},
        {"zero count", 0, 0, 0, LX_S_OK, "XY", "abcde"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        SetUp();
        void *moved = r.count != 0 && r.sourceIndex < source_->count
                          ? ((void **)source_->items)[r.sourceIndex]
                          : nullptr;
        EXPECT_EQ(r.want, LxList_MoveItemsBetweenHeapLists(target_.get(), r.targetIndex,
                                                           source_.get(), r.sourceIndex, r.count));
        EXPECT_EQ(r.target, Text(target_.get()));
        EXPECT_EQ(r.source, Text(source_.get()));
        EXPECT_EQ(LXLIST_HEAP | LXLIST_THREADSAFE | LXLIST_ANYTHREAD, source_->options);
        // Items change hands without being copied.
        if (r.want == LX_S_OK && moved) {
            EXPECT_NE(-1, LxList_FindSpecificItemRange(target_.get(), 0, -1, moved));
        }
    }
}

TEST_F(LxListHeapMove, RefusedLists) {
    ListPtr plain = PlainOf({1, 2});
    EXPECT_EQ(LX_E_FAIL, LxList_MoveItemsBetweenHeapLists(plain.get(), 0, source_.get(), 0, 1));
    EXPECT_EQ(LX_E_FAIL, LxList_MoveItemsBetweenHeapLists(target_.get(), 0, plain.get(), 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_MoveItemsBetweenHeapLists(target_.get(), 0, target_.get(), 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_MoveItemsBetweenHeapLists(nullptr, 0, source_.get(), 0, 1));
    void *pending;
    ASSERT_EQ(LX_S_OK, LxList_AllocItem(target_.get(), 4, &pending));
    EXPECT_EQ(LX_E_FAIL, LxList_MoveItemsBetweenHeapLists(target_.get(), 0, source_.get(), 0, 1));
    EXPECT_EQ("abcde", Text(source_.get()));
    LxList_DeleteList(target_.get(), -1, -1, FALSE);
}

/* ---- Linear finds ----------------------------------------------------------------- */

TEST(LxListFind, SpecificItemComparesTheWholeSlot) {
    ListPtr list = MakeList(10, 4, 4, LXLIST_ARRAY);
    BYTE a[12], b[12];
    memset(a, 0x11, sizeof a);
    memset(b, 0x22, sizeof b);
    b[10] = b[11] = 0x77;  // padding
    LxList_InsertList(list.get(), -1, a, 1);
    LxList_InsertList(list.get(), -1, b, 1);
    EXPECT_EQ(1, LxList_FindSpecificItemRange(list.get(), 0, -1, b));
    BYTE key[12];
    memcpy(key, b, sizeof key);
    key[11] = 0;
    EXPECT_EQ(-1, LxList_FindSpecificItemRange(list.get(), 0, -1, key));
    EXPECT_EQ(-1, LxList_FindSpecificItemRange(list.get(), 0, -1, nullptr));
}

TEST(LxListFind, RangeRulesOfLinearFinds) {
    ListPtr list = PlainOf({7, 3, 7, 9, 7});
    struct Row {
        const char *name;
        LONG start, count, want;
    } rows[] = {
        {"whole", 0, -1, 0},
        {"from 1", 1, -1, 2},
        {"count cuts", 3, 1, -1},
        {"count cut at the end", 3, 100, 4},
        {"start at count", 5, -1, -1},
        {"zero count", 0, 0, -1},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(r.want, LxList_FindSpecificItemRange(list.get(), r.start, r.count, AsKey(7)));
        DWORD seven = 7;
        EXPECT_EQ(r.want, LxList_FindItemRange(list.get(), r.start, r.count, &seven, MatchValue));
    }
    EXPECT_EQ(-1, LxList_FindItemRange(list.get(), 0, -1, nullptr, nullptr));
}

int LXCALLBACK MatchSlotKey(void *data, const void *item) {
    return ((const Keyed *)item)->key == *(const LONG *)data ? 0 : 1;
}

TEST(LxListFind, MatchSeesArraySlotAddresses) {
    ListPtr list = KeyedOf({{5, 'a'}, {6, 'b'}, {6, 'c'}});
    LONG key = 6;
    EXPECT_EQ(1, LxList_FindItemRange(list.get(), 0, -1, &key, MatchSlotKey));
    EXPECT_EQ(2, LxList_FindItemRange(list.get(), 2, -1, &key, MatchSlotKey));
}

/* ---- Sorted finds ------------------------------------------------------------------ */

// Each row: the list, the key, what the sorted find returns and where the key
// would be inserted. Equal runs pin the exact bisection.
TEST(LxListSortedFind, BisectionOverWholeList) {
    struct Row {
        std::vector<DWORD> items;
        DWORD key;
        LONG found, insertAt;
    } rows[] = {
        {{5, 5, 5, 5, 5, 5, 5}, 5, 3, 3},
        {{5, 5, 5, 5, 5, 5, 5, 5}, 5, 3, 3},
        {{1, 2, 2, 2, 2, 2, 2, 2}, 2, 3, 3},
        {{2, 2, 2, 2, 2, 2, 2, 3}, 3, 7, 7},
        {{1, 3, 3, 3, 5}, 3, 2, 2},
        {{1, 1, 2, 3, 3, 3, 3, 4, 4, 4}, 3, 4, 4},
        {{1, 1, 2, 3, 3, 3, 3, 4, 4, 4}, 4, 7, 7},
        {{}, 15, -1, 0},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(::testing::PrintToString(r.items) + " key " + std::to_string(r.key));
        ListPtr list = PlainOf(r.items);
        EXPECT_EQ(r.found, LxList_FindSortedItemRange(list.get(), AsKey(r.key), 0, -1, CompareValues));
        EXPECT_EQ(r.insertAt,
                  LxList_FindSortedInsertIndexRange(list.get(), AsKey(r.key), 0, -1, CompareValues));
    }
}

TEST(LxListSortedFind, SubRanges) {
    ListPtr list = PlainOf({10, 20, 30, 40, 50, 60});
    struct Row {
        const char *name;
        DWORD key;
        LONG start, count, found, insertAt;
    } rows[] = {
        {"inside", 40, 2, 2, 3, 3},
        {"outside the range", 50, 2, 2, -1, 4},
        {"below the range", 5, 2, 2, -1, 2},
        {"between", 35, 2, 2, -1, 3},
        {"negative start", 20, -3, 3, 1, 1},
        {"count cut", 60, 4, 99, 5, 5},
        {"start at count: empty", 99, 6, -1, -1, 0},
        {"empty range anywhere gives 0", 45, 3, 0, -1, 0},
        {"start beyond count", 10, 7, -1, -1, -1},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        EXPECT_EQ(r.found,
                  LxList_FindSortedItemRange(list.get(), AsKey(r.key), r.start, r.count, CompareValues));
        EXPECT_EQ(r.insertAt, LxList_FindSortedInsertIndexRange(list.get(), AsKey(r.key), r.start,
                                                                r.count, CompareValues));
    }
    EXPECT_EQ(-1, LxList_FindSortedItemRange(list.get(), AsKey(10), 0, -1, nullptr));
    EXPECT_EQ(-1, LxList_FindSortedInsertIndexRange(list.get(), AsKey(10), 0, -1, nullptr));
}

struct CriteriaProbe {
    static DWORD seen;
    static int LXCALLBACK Compare(DWORD criteria, const void *a, const void *b) {
        seen = criteria;
        return CompareValues(criteria, a, b);
    }
};
DWORD CriteriaProbe::seen;

TEST(LxListSortedFind, UsesTheListsCriteriaAndItemForms) {
    ListPtr list = PlainOf({1, 2, 3});
    list->sortCriteria = 0xC0FFEE;
    CriteriaProbe::seen = 0;
    EXPECT_EQ(1, LxList_FindSortedItemRange(list.get(), AsKey(2), 0, -1, CriteriaProbe::Compare));
    EXPECT_EQ(0xC0FFEEu, CriteriaProbe::seen);

    ListPtr array = KeyedOf({{1, 'a'}, {4, 'b'}, {9, 'c'}});
    Keyed key = {4, '?'};
    EXPECT_EQ(1, LxList_FindSortedItemRange(array.get(), &key, 0, -1, CompareKeyed));
    key.key = 5;
    EXPECT_EQ(2, LxList_FindSortedInsertIndexRange(array.get(), &key, 0, -1, CompareKeyed));
}

TEST(LxListSortedFind, AgreesWithOrderOnRandomLists) {
    std::mt19937 rng(1234);
    for (int round = 0; round < 300; round++) {
        SCOPED_TRACE(round);
        std::vector<DWORD> v(rng() % 40);
        for (DWORD &x : v) x = rng() % 12;
        std::sort(v.begin(), v.end());
        ListPtr list = PlainOf(v);
        DWORD key = rng() % 14;
        LONG found = LxList_FindSortedItemRange(list.get(), AsKey(key), 0, -1, CompareValues);
        bool present = std::binary_search(v.begin(), v.end(), key);
        ASSERT_EQ(present, found >= 0);
        if (found >= 0) { ASSERT_EQ(key, v[found]); }
        LONG at = LxList_FindSortedInsertIndexRange(list.get(), AsKey(key), 0, -1, CompareValues);
        ASSERT_GE(at, 0);
        ASSERT_LE(at, (LONG)v.size());
        if (at > 0) { ASSERT_LE(v[at - 1], key); }
        if (at < (LONG)v.size()) { ASSERT_LE(key, v[at]); }
    }
}

/* ---- Sorting ------------------------------------------------------------------------ */

TEST(LxListSort, NullComparisonOrShortListStoresCriteriaOnly) {
    ListPtr list = PlainOf({3, 1, 2});
    EXPECT_EQ(LX_S_OK, LxList_Sort(list.get(), 77, nullptr));
    EXPECT_EQ(77u, LxList_GetSortCriteria(list.get()));
    EXPECT_EQ(LX_S_OK, LxList_HeapSort(list.get(), 78, nullptr));
    EXPECT_EQ(78u, LxList_GetSortCriteria(list.get()));
    EXPECT_EQ((std::vector<DWORD>{3, 1, 2}), Values(list.get()));

    ListPtr one = PlainOf({3});
    CriteriaProbe::seen = 0;
    EXPECT_EQ(LX_S_OK, LxList_Sort(one.get(), 5, CriteriaProbe::Compare));
    EXPECT_EQ(0u, CriteriaProbe::seen);
    EXPECT_EQ(5u, one->sortCriteria);
}

// Ties show each algorithm's own order: selection from the end keeps the
// first of equals as the best; the heap sort's sift gives its own order.
TEST(LxListSort, ExactOrderOfEqualItems) {
    const std::vector<Keyed> input = {{2, 'a'}, {1, 'b'}, {2, 'c'}, {1, 'd'}, {3, 'e'}, {2, 'f'}};
    ListPtr sel = KeyedOf(input);
    ASSERT_EQ(LX_S_OK, LxList_Sort(sel.get(), 3, CompareKeyed));
    EXPECT_EQ("bdcfae", Ids(sel.get()));
    EXPECT_EQ(3u, sel->sortCriteria);

    ListPtr heap = KeyedOf(input);
    g_comparisons = 0;
    ASSERT_EQ(LX_S_OK, LxList_HeapSort(heap.get(), 4, CountKeyed));
    EXPECT_EQ("bdcafe", Ids(heap.get()));
    EXPECT_EQ(4u, heap->sortCriteria);
    // The sift walks on down after a level without a swap.
    EXPECT_EQ(16, g_comparisons);

    // Here looking at the lone last child on the second level would differ.
    ListPtr lone = KeyedOf({{0, 'a'}, {1, 'b'}, {2, 'c'}, {0, 'd'}, {1, 'e'}, {1, 'f'}});
    g_comparisons = 0;
    LxList_HeapSort(lone.get(), 0, CountKeyed);
    EXPECT_EQ("dabefc", Ids(lone.get()));
    EXPECT_EQ(14, g_comparisons);
    ListPtr selection = KeyedOf(input);
    g_comparisons = 0;
    LxList_Sort(selection.get(), 0, CountKeyed);
    EXPECT_EQ(15, g_comparisons);

    ListPtr two = KeyedOf({{1, 'x'}, {1, 'y'}});
    LxList_Sort(two.get(), 0, CompareKeyed);
    EXPECT_EQ("yx", Ids(two.get()));
}

TEST(LxListSort, SortAndHeapSortAgreeOnRandomData) {
    std::mt19937 rng(99);
    for (int round = 0; round < 60; round++) {
        LONG n = (LONG)(rng() % 150);
        SCOPED_TRACE("round " + std::to_string(round) + " n " + std::to_string(n));
        std::vector<Serial> items(n);
        for (LONG i = 0; i < n; i++) items[i] = {(LONG)(rng() % 20) - 10, i, 0xA5A50000u ^ (DWORD)i};
        ListPtr a = MakeList(sizeof(Serial), 16, 16, LXLIST_ARRAY);
        ListPtr b = MakeList(sizeof(Serial), 16, 16, LXLIST_ARRAY);
        if (n) {
            LxList_InsertList(a.get(), -1, items.data(), n);
            LxList_InsertList(b.get(), -1, items.data(), n);
        }
        ASSERT_EQ(LX_S_OK, LxList_Sort(a.get(), 0, CompareSerial));
        ASSERT_EQ(LX_S_OK, LxList_HeapSort(b.get(), 0, CompareSerial));
        for (const tLXLIST *l : {a.get(), b.get()}) {
            const Serial *p = (const Serial *)l->items;
            std::vector<LONG> serials;
            for (LONG i = 0; i < n; i++) {
                if (i) { ASSERT_LE(p[i - 1].key, p[i].key); }
                ASSERT_EQ(0xA5A50000u ^ (DWORD)p[i].serial, p[i].check);
                ASSERT_EQ(items[p[i].serial].key, p[i].key);
                serials.push_back(p[i].serial);
            }
            std::sort(serials.begin(), serials.end());
            for (LONG i = 0; i < n; i++) ASSERT_EQ(i, serials[i]);
        }
        for (LONG i = 0; i < n; i++)
            ASSERT_EQ(((const Serial *)a->items)[i].key, ((const Serial *)b->items)[i].key);
    }
}

TEST(LxListSort, SortToMergesIntoPlainAndArrayTargets) {
    ListPtr source = PlainOf({5, 3, 9, 3, 1});
    ListPtr target = PlainOf({4, 8});
    EXPECT_EQ(LX_S_OK, LxList_SortTo(target.get(), source.get(), 12, CompareValues));
    EXPECT_EQ((std::vector<DWORD>{1, 3, 3, 4, 5, 8, 9}), Values(target.get()));
    EXPECT_EQ(12u, target->sortCriteria);
    EXPECT_EQ((std::vector<DWORD>{5, 3, 9, 3, 1}), Values(source.get()));

    ListPtr arraySource = KeyedOf({{2, 'a'}, {1, 'b'}, {2, 'c'}});
    ListPtr arrayTarget = KeyedOf({});
    EXPECT_EQ(LX_S_OK, LxList_SortTo(arrayTarget.get(), arraySource.get(), 0, CompareKeyed));
    // An equal key goes before the one found: the later 'c' lands before 'a'.
    EXPECT_EQ("bca", Ids(arrayTarget.get()));

    ListPtr empty = PlainOf({});
    EXPECT_EQ(LX_S_OK, LxList_SortTo(empty.get(), source.get(), 6, nullptr));
    EXPECT_EQ(0, empty->count);
    EXPECT_EQ(6u, empty->sortCriteria);
}

TEST(LxListSort, SortToRefusesHeapTargetsSilently) {
    ListPtr source = PlainOf({2, 1});
    ListPtr heap = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_THREADSAFE);
    EXPECT_EQ(LX_S_OK, LxList_SortTo(heap.get(), source.get(), 1, CompareValues));
    EXPECT_EQ(0, heap->count);
    EXPECT_EQ(1u, heap->sortCriteria);
    EXPECT_EQ(LX_E_INVALIDARG, LxList_SortTo(source.get(), source.get(), 1, CompareValues));
    ListPtr wide = MakeList(8, 4, 4, LXLIST_ARRAY);
    EXPECT_EQ(LX_E_INVALIDARG, LxList_SortTo(wide.get(), source.get(), 1, CompareValues));
    EXPECT_EQ(0, wide->count);
}

}  // namespace
