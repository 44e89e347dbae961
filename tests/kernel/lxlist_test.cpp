// tLXLIST: creation rules, the index rules of insert, delete and move,
// pending items, the heap-list helpers, the exact bisection of the sorted
// finds, both sorts and the lock.
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

// A plain list of 32-bit values, one per character, and back.
ListPtr PlainOf(const std::string &values) {
    ListPtr list = MakeList(4, 4, 4, 0);
    std::vector<DWORD> v(values.begin(), values.end());
    LONG n = (LONG)v.size();
    if (n) { EXPECT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, &v[0], n)); }
    return list;
}

std::string Text(const tLXLIST *list) {
    std::string s;
    for (LONG i = 0; i < list->count; i++) s += (char)((const DWORD *)list->items)[i];
    return s;
}

void *Slot(const tLXLIST *list, LONG i) { return ((void **)list->items)[i]; }

// True if every slot from count to allocated is zero.
bool TailIsZero(const tLXLIST *list) {
    const BYTE *p = (const BYTE *)list->items;
    size_t w = (size_t)list->itemSize;
    return std::all_of(p + list->count * w, p + list->allocated * w, [](BYTE b) { return b == 0; });
}

const void *AsKey(char v) { return (const void *)(uintptr_t)(BYTE)v; }

DWORD g_criteria;
LONG g_comparisons;

int LXCALLBACK CompareValues(DWORD criteria, const void *a, const void *b) {
    g_criteria = criteria;
    DWORD x = (DWORD)(uintptr_t)a, y = (DWORD)(uintptr_t)b;
    return x < y ? -1 : x > y ? 1 : 0;
}

int LXCALLBACK MatchValue(void *data, const void *item) {
    return *(const DWORD *)data == (DWORD)(uintptr_t)item ? 0 : 1;
}

// Array item with a key and a tag that the comparison ignores, so that the
// placement of equal keys can be seen.
struct Keyed {
    LONG key, id;
};

int LXCALLBACK CompareKeyed(DWORD, const void *a, const void *b) {
    g_comparisons++;
    LONG x = ((const Keyed *)a)->key, y = ((const Keyed *)b)->key;
    return x < y ? -1 : x > y ? 1 : 0;
}

std::string Ids(const tLXLIST *list) {
    std::string s;
    for (LONG i = 0; i < list->count; i++) s += (char)((const Keyed *)list->items)[i].id;
    return s;
}

ListPtr KeyedOf(const std::vector<Keyed> &items) {
    ListPtr list = MakeList(sizeof(Keyed), 4, 4, LXLIST_ARRAY);
    for (const Keyed &k : items) EXPECT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, &k, 1));
    return list;
}

TEST(LxListCreate, SizesClampsAndRefusals) {
    struct Row {
        const char *name;
        DWORD options;
        LONG itemSize, capacity, growBy, wantItemSize, wantAllocated, wantGrowBy;
    } rows[] = {
        {"array 10 rounds to 12", LXLIST_ARRAY, 10, 4, 4, 12, 4, 4},
        {"plain ignores item size", 0, 100, 4, 4, 4, 4, 4},
        {"capacity 5 by 4", 0, 4, 5, 4, 4, 8, 4},
        {"capacity -1 by -1", 0, 4, -1, -1, 4, 16, 16},
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
        EXPECT_TRUE(TailIsZero(list.get()));
        EXPECT_GE(GlobalSize(GlobalHandle(list->items)), SIZE_T(r.wantAllocated * r.wantItemSize));
    }
    tLXLIST *list = (tLXLIST *)(uintptr_t)0x1234;
    EXPECT_EQ(LX_E_FAIL, LxList_CreateExZ(&list, 4, 4, 4, LXLIST_HEAP | LXLIST_ARRAY, 0, 0, 0));
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(LX_E_INVALIDARG, LxList_CreateExZ(nullptr, 4, 4, 4, 0, 0, 0, 0));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_CreateExZ(&list, 0, 4, 4, LXLIST_ARRAY, 0, 0, 0));
    EXPECT_EQ(LX_E_OUTOFMEMORY, LxList_CreateExZ(&list, 0x40000000, 16, 16, LXLIST_ARRAY, 0, 0, 0));
    EXPECT_EQ(nullptr, list);
    EXPECT_EQ(LX_E_FAIL, LxList_CreateExZ(&list, 4, 4, 4, LXLIST_PLACED, 0, 0, 0));
    // A placed list lives in the caller's memory and leaves it behind.
    tLXLIST storage;
    memset(&storage, 0xCC, sizeof storage);
    list = &storage;
    const DWORD placed = LXLIST_PLACED | LXLIST_THREADSAFE;
    ASSERT_EQ(LX_S_OK, LxList_CreateExZ(&list, 4, 4, 4, placed, 0, 0, 0));
    EXPECT_EQ(&storage, list);
    EXPECT_EQ(nullptr, storage.pendingItem);
    DWORD v = 7;
    EXPECT_EQ(LX_S_OK, LxList_InsertList(list, -1, &v, 1));
    EXPECT_EQ(LX_S_OK, LxList_Destroy(list));
    EXPECT_EQ(0u, storage.tag);
    EXPECT_EQ(LX_E_INVALIDARG, LxList_Destroy(&storage));  // no list any more
    // Only heap lists get a private heap.
    EXPECT_NE(nullptr, MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_PRIVATEHEAP)->heap);
    ListPtr plain = MakeList(4, 4, 4, LXLIST_PRIVATEHEAP);
    EXPECT_EQ(nullptr, plain->heap);
    EXPECT_EQ(LXLIST_PRIVATEHEAP | LXLIST_ANYTHREAD, LxList_GetCreateOptions(plain.get()));
}

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
    DWORD page = si.dwPageSize, old;
    BYTE *base = (BYTE *)VirtualAlloc(nullptr, 2 * page, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
    ASSERT_NE(nullptr, base);
    ASSERT_TRUE(VirtualProtect(base + page, page, PAGE_NOACCESS, &old));
    // Wrong size: refused before any read of the unreadable page.
    EXPECT_FALSE(LxList_IsList(base + page, 1));
    EXPECT_FALSE(LxList_IsList(base + page, sizeof(tLXLIST)));
    // A record whose tag is readable but whose tail runs into the guard page.
    tLXLIST *straddle = (tLXLIST *)(base + page - offsetof(tLXLIST, tag) - 4);
    straddle->tag = LXLIST_TAG;
    EXPECT_FALSE(LxList_IsList(straddle, sizeof(tLXLIST)));
    tLXLIST *inside = (tLXLIST *)(base + page - sizeof(tLXLIST));
    inside->tag = LXLIST_TAG;
    EXPECT_TRUE(LxList_IsList(inside, sizeof(tLXLIST)));
    inside->tag = 0x54525544;
    EXPECT_FALSE(LxList_IsList(inside, sizeof(tLXLIST)));
    VirtualFree(base, 0, MEM_RELEASE);
}

// Creation sets bit 30, so the owner test only bites once it is cleared.
TEST(LxListIdentity, NullListsOwnerTestAndFileAndLine) {
    EXPECT_EQ(LX_S_OK, LxList_Destroy(nullptr));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_InsertList(nullptr, 0, "abcd", 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_MoveRange(nullptr, 0, 1, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_AllocAndInsertItem(nullptr, nullptr, 4, 0, nullptr));
    EXPECT_EQ(-1, LxList_FindSortedItemRange(nullptr, AsKey(1), 0, -1, CompareValues));
    EXPECT_EQ(-1, LxList_GetUserData(nullptr));
    EXPECT_EQ(0, LxList_AllocSize(nullptr, -1));
    EXPECT_FALSE(LxList_IsValidIndexSlow(nullptr, 0));

    ListPtr list = PlainOf("ab");
    EXPECT_TRUE(LxList_IsValidIndexSlow(list.get(), 1));
    EXPECT_FALSE(LxList_IsValidIndexSlow(list.get(), 2));
    EXPECT_FALSE(LxList_IsValidIndexSlow(list.get(), -1));
    char buffer[16] = "unchanged";
    EXPECT_EQ(-1, LxList_GetFileAndLine(list.get(), buffer, sizeof buffer));
    EXPECT_STREQ("", buffer);
    EXPECT_EQ(-1, LxList_GetFileAndLine(list.get(), nullptr, 0));

    list->options &= ~LXLIST_ANYTHREAD;
    DWORD me = GetCurrentThreadId(), v = 9;
    ASSERT_EQ(LX_S_OK, LxList_SetThreadOwner(list.get(), me + 1));
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(list.get(), -1, &v, 1));
    EXPECT_EQ(LX_E_FAIL, LxList_Sort(list.get(), 0, CompareValues));
    EXPECT_EQ(-1, LxList_FindSpecificItemRange(list.get(), 0, -1, AsKey('a')));
    EXPECT_EQ(-1, LxList_GetUserData(list.get()));
    EXPECT_EQ(LX_E_FAIL, LxList_SetThreadOwner(list.get(), 0));
    EXPECT_EQ(me + 1, LxList_GetThreadOwner(list.get()));
    list->threadOwner = me;
    ASSERT_EQ(LX_S_OK, LxList_SetThreadOwner(list.get(), 0));  // 0 means the caller
    EXPECT_EQ(me, LxList_GetThreadOwner(list.get()));
    EXPECT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, &v, 1));
    EXPECT_EQ("ab\t", Text(list.get()));
    list->options |= LXLIST_ANYTHREAD;
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
    std::vector<DWORD> a((DWORD *)plain->items, (DWORD *)plain->items + plain->count), b;
    for (LONG i = 0; i < heap->count; i++) b.push_back(*(DWORD *)Slot(heap.get(), i));
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    for (DWORD i = 0; i < (DWORD)a.size(); i++) {
        ASSERT_EQ(i, a[i]);
        ASSERT_EQ(i, b[i]);
    }
}

TEST(LxListTable, GrowAndShrinkRoundToGrowBy) {
    ListPtr list = MakeList(4, 8, 8, 0);
    EXPECT_EQ(LX_S_OK, LxList_GrowAllocated(list.get(), 0));
    EXPECT_EQ(16, list->allocated);
    EXPECT_EQ(LX_S_OK, LxList_GrowAllocated(list.get(), 9));
    EXPECT_EQ(32, list->allocated);
    EXPECT_TRUE(TailIsZero(list.get()));
    EXPECT_EQ(LX_E_OUTOFMEMORY, LxList_GrowAllocated(list.get(), 0x7FFFFFF0));
    EXPECT_EQ(32, list->allocated);
    struct Row {
        const char *name;
        LONG count, slots, wantAllocated;
    } rows[] = {
        // 32 slots by 8.
        {"all free: 27 rounds to 32, one step back", 5, -1, 8},
        {"3 rounds to 8", 5, 3, 24},
        {"free below grow-by: nothing", 28, -1, 32},
        {"far too many stops at the items", 5, 1000, 5},
        {"empty list keeps one slot", 0, -1, 1},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ListPtr shrunk = MakeList(4, 32, 8, 0);
        std::string items = std::string("abcdefghijklmnopqrstuvwxyzABCDEFG").substr(0, r.count);
        std::vector<DWORD> v(items.begin(), items.end());
        if (r.count) LxList_InsertList(shrunk.get(), -1, v.data(), r.count);
        EXPECT_EQ(LX_S_OK, LxList_ShrinkAllocated(shrunk.get(), r.slots));
        EXPECT_EQ(r.wantAllocated, shrunk->allocated);
        EXPECT_EQ(items, Text(shrunk.get()));
    }
}

TEST(LxListInsert, IndexSourceAndGrowthRules) {
    struct Row {
        const char *name;
        LONG index, n;
        const char *want;
    } rows[] = {
        {"-100 appends", -100, 1, "ABCx"},
        {"beyond count appends", 100, 1, "ABCx"},
        {"three at 2", 2, 3, "ABxyzC"},
        {"negative count is a slot count", 1, -2, "AxyBC"},
        {"zero slots", 1, 0, "ABC"},
    };
    const DWORD src[] = {'x', 'y', 'z'}, six[] = {'u', 'v', 'w', 'x', 'y', 'z'};
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ListPtr list = PlainOf("ABC");
        EXPECT_EQ(LX_S_OK, LxList_InsertList(list.get(), r.index, src, r.n));
        EXPECT_EQ(r.want, Text(list.get()));
        EXPECT_TRUE(TailIsZero(list.get()));
    }
    ListPtr list = MakeList(4, 4, 4, 0);
    ASSERT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, six, 5));
    EXPECT_EQ(12, list->allocated);  // 4 + 5 rounded to 8
    ASSERT_EQ(LX_S_OK, LxList_InsertList(list.get(), 0, six, 5));
    EXPECT_EQ(12, list->allocated);  // room enough
    ASSERT_EQ(LX_S_OK, LxList_InsertList(list.get(), 5, six, 6));
    EXPECT_EQ(20, list->allocated);  // by 6 rounded to 8, not by the shortfall of 4
    EXPECT_EQ("uvwxyuvwxyzuvwxy", Text(list.get()));
    EXPECT_EQ(LX_E_OUTOFMEMORY, LxList_InsertList(list.get(), 0, src, 0x7FFFFFF0));
    EXPECT_EQ(16, list->count);
    EXPECT_EQ(20, list->allocated);
    // A heap list takes raw slots only as a negative count; a null source
    // only for the pending item.
    ListPtr heap = MakeList(4, 4, 4, LXLIST_HEAP);
    void *item = malloc(16);
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(heap.get(), -1, &item, 1));
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(heap.get(), -1, &item, 0));
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(heap.get(), -1, nullptr, -1));  // nothing pending
    EXPECT_EQ(LX_S_OK, LxList_InsertList(heap.get(), -1, &item, -1));  // now owned
    EXPECT_EQ(1, heap->count);
    EXPECT_EQ(item, Slot(heap.get(), 0));
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(list.get(), -1, nullptr, 1));
    EXPECT_EQ(LX_E_FAIL, LxList_InsertList(list.get(), -1, nullptr, -1));
    EXPECT_EQ(16, list->count);
}

TEST(LxListDelete, IndexCountAndShrinkRules) {
    struct Row {
        const char *name;
        LONG index, count;
        HRESULT want;
        const char *left;
    } rows[] = {
        {"zero count before the index is looked at", 99, 0, LX_S_OK, "ABCDE"},
        {"at count", 5, 1, LX_E_FAIL, "ABCDE"},
        {"both negative, nothing pending", -1, -1, LX_E_FAIL, "ABCDE"},
        {"negative index", -1, 1, LX_E_FAIL, "ABCDE"},
        {"to the end", 1, -1, LX_S_OK, "A"},
        {"count cut", 3, 10, LX_S_OK, "ABC"},
        {"middle", 1, 2, LX_S_OK, "ADE"},
        {"to the end from beyond", 9, -1, LX_S_OK, "ABCDE"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ListPtr list = PlainOf("ABCDE");
        EXPECT_EQ(r.want, LxList_DeleteList(list.get(), r.index, r.count, TRUE));
        EXPECT_EQ(r.left, Text(list.get()));
        EXPECT_TRUE(TailIsZero(list.get()));
    }
    const std::string twenty = "abcdefghijklmnopqrst";
    ListPtr kept = PlainOf(twenty), shrunk = PlainOf(twenty);
    ASSERT_EQ(24, kept->allocated);
    EXPECT_EQ(LX_S_OK, LxList_DeleteList(kept.get(), 5, -1, FALSE));
    EXPECT_EQ(24, kept->allocated);
    EXPECT_EQ(LX_S_OK, LxList_DeleteList(shrunk.get(), 5, -1, TRUE));
    EXPECT_EQ(8, shrunk->allocated);  // 19 free: rounds to 20, too many, one step back to 16
    EXPECT_EQ(LX_S_OK, LxList_DeleteList(shrunk.get(), 4, 1, TRUE));
    EXPECT_EQ(8, shrunk->allocated);  // 4 free is not more than grow-by
    EXPECT_EQ("abcd", Text(shrunk.get()));
}

TEST(LxListMove, MoveRangeAndForcedCount) {
    struct Row {
        const char *name;
        LONG from, to, count;
        HRESULT want;
        const char *after;
    } rows[] = {
        {"block forward", 0, 2, 2, LX_S_OK, "CDAB"},
        {"last to front", 3, 0, 1, LX_S_OK, "DABC"},
        {"negative to is 0", 2, -5, 1, LX_S_OK, "CABD"},
        {"negative count runs to the end", 0, 1, -1, LX_S_OK, "DABC"},
        {"negative from", -1, 0, 1, LX_E_INVALIDARG, "ABCD"},
        {"target range beyond", 0, 3, 2, LX_E_FAIL, "ABCD"},
        {"source range beyond", 3, 0, 2, LX_E_FAIL, "ABCD"},
        {"same place", 1, 1, 2, LX_S_OK, "ABCD"},
        {"zero count", 0, 2, 0, LX_S_OK, "ABCD"},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ListPtr list = PlainOf("ABCD");
        EXPECT_EQ(r.want, LxList_MoveRange(list.get(), r.from, r.to, r.count));
        EXPECT_EQ(r.after, Text(list.get()));
    }
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
        const BYTE *slot = (const BYTE *)list->items + i * kSize;
        BYTE want = (BYTE)(i < 10 ? 20 + i : i - 10);
        EXPECT_TRUE(slot[0] == want && slot[kSize - 1] == want) << "slot " << i;
    }

    // Forcing a count: array lists only; lowering it keeps the items.
    EXPECT_EQ(LX_E_FAIL, LxList_ArrayForceItemCount(PlainOf("A").get(), 4, FALSE));
    ListPtr array = MakeList(4, 4, 4, LXLIST_ARRAY);
    const DWORD abc[] = {'a', 'b', 'c'};
    LxList_InsertList(array.get(), -1, abc, 3);
    ASSERT_EQ(LX_S_OK, LxList_ArrayForceItemCount(array.get(), 6, FALSE));
    EXPECT_EQ(8, array->allocated);  // 2 missing slots rounded to 4
    EXPECT_EQ(std::string("abc\0\0\0", 6), Text(array.get()));
    ASSERT_EQ(LX_S_OK, LxList_ArrayForceItemCount(array.get(), 1, TRUE));
    EXPECT_EQ(1, array->count);
    EXPECT_EQ(8, array->allocated);  // the shrink flag changes nothing
    ASSERT_EQ(LX_S_OK, LxList_ArrayForceItemCount(array.get(), 3, FALSE));
    EXPECT_EQ("abc", Text(array.get()));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_ArrayForceItemCount(array.get(), -1, FALSE));
}

TEST(LxListItems, PendingItemsAndAllocAndInsert) {
    void *item = (void *)1;
    EXPECT_EQ(LX_E_FAIL, LxList_AllocItem(PlainOf("").get(), 8, &item));
    EXPECT_EQ(nullptr, item);
    for (DWORD form : {LXLIST_HEAP, LXLIST_HEAP | LXLIST_PRIVATEHEAP}) {
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
        ASSERT_EQ(LX_S_OK, LxList_AllocItem(list.get(), 4, &first));
        ASSERT_EQ(LX_S_OK, LxList_InsertList(list.get(), -1, nullptr, -1));
        EXPECT_EQ(nullptr, list->pendingItem);
        EXPECT_EQ(first, Slot(list.get(), 0));
    }

    ListPtr list = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_PRIVATEHEAP);
    struct Row {
        char value;
        LONG index, wantIndex;
    } rows[] = {{'a', -1, 0}, {'b', -1, 1}, {'c', 100, 2}, {'d', 0, 0}, {'e', 2, 2}};
    std::string got;
    for (const Row &r : rows) {
        LONG at = 99;
        EXPECT_EQ(LX_S_OK, LxList_AllocAndInsertItem(list.get(), &r.value, 1, r.index, &at));
        EXPECT_EQ(r.wantIndex, at) << r.value;
    }
    for (LONG i = 0; i < list->count; i++) got += *(char *)Slot(list.get(), i);
    EXPECT_EQ("daebc", got);
    LONG at = 99;
    ASSERT_EQ(LX_S_OK, LxList_AllocAndInsertItem(list.get(), nullptr, 16, -1, &at));
    EXPECT_EQ(0, memcmp(Slot(list.get(), at), std::vector<BYTE>(16).data(), 16));
    void *pending;
    ASSERT_EQ(LX_S_OK, LxList_AllocItem(list.get(), 4, &pending));
    EXPECT_EQ(LX_E_FAIL, LxList_AllocAndInsertItem(list.get(), nullptr, 4, -1, &at));
    EXPECT_EQ(-1, at);
    EXPECT_EQ(pending, list->pendingItem);
    at = 99;
    EXPECT_EQ(LX_E_FAIL, LxList_AllocAndInsertItem(PlainOf("").get(), nullptr, 4, -1, &at));
    EXPECT_EQ(-1, at);
}

TEST(LxListItems, ReAllocAndAllocSize) {
    ListPtr priv = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_PRIVATEHEAP);
    std::vector<BYTE> fill(8, 0xAB);
    ASSERT_EQ(LX_S_OK, LxList_AllocAndInsertItem(priv.get(), fill.data(), 8, -1, nullptr));
    // Dirty the heap so that a fresh block would not be zero by chance.
    void *junk = HeapAlloc(priv->heap, 0, 256);
    memset(junk, 0xEE, 256);
    HeapFree(priv->heap, 0, junk);
    ASSERT_EQ(LX_S_OK, LxList_ReAllocItem(priv.get(), 0, 256));
    const BYTE *p = (const BYTE *)Slot(priv.get(), 0);
    for (int i = 0; i < 256; i++) ASSERT_EQ(i < 8 ? 0xAB : 0, p[i]) << i;
    ListPtr crt = MakeList(4, 4, 4, LXLIST_HEAP);
    ASSERT_EQ(LX_S_OK, LxList_AllocAndInsertItem(crt.get(), fill.data(), 8, -1, nullptr));
    ASSERT_EQ(LX_S_OK, LxList_ReAllocItem(crt.get(), 0, 100));
    EXPECT_EQ(0, memcmp(Slot(crt.get(), 0), fill.data(), 8));
    EXPECT_EQ(LX_E_FAIL, LxList_ReAllocItem(crt.get(), 1, 16));
    EXPECT_EQ(LX_E_FAIL, LxList_ReAllocItem(crt.get(), -1, 16));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_ReAllocItem(crt.get(), 0, 0));
    EXPECT_EQ(LX_E_FAIL, LxList_ReAllocItem(MakeList(8, 4, 4, LXLIST_ARRAY).get(), 0, 16));

    // Sizes of items, and of the whole: table, record and, for plain and heap
    // lists, what the slots point at.
    auto whole = [](tLXLIST *l) {
        return (LONG)(GlobalSize(GlobalHandle(l->items)) + sizeof(tLXLIST));
    };
    ListPtr plain = MakeList(4, 4, 4, 0), array = MakeList(10, 4, 4, LXLIST_ARRAY);
    void *slots[2] = {malloc(24), nullptr};
    LxList_InsertList(plain.get(), -1, slots, 2);
    LxList_InsertList(array.get(), -1, std::vector<BYTE>(12).data(), 1);
    LxList_AllocAndInsertItem(crt.get(), nullptr, 40, -1, nullptr);
    LxList_AllocAndInsertItem(priv.get(), nullptr, 40, -1, nullptr);
    const struct {
        tLXLIST *list;
        LONG first, second, all;
    } rows[] = {
        {priv.get(), 256, 40, whole(priv.get()) + 296},
        {crt.get(), 100, 40, whole(crt.get()) + 140},
        {plain.get(), 24, 0, whole(plain.get()) + 24},
        {array.get(), 12, 0, whole(array.get())},
    };
    for (const auto &r : rows) {
        EXPECT_EQ(r.first, LxList_AllocSize(r.list, 0));
        EXPECT_EQ(r.second, LxList_AllocSize(r.list, 1));
        EXPECT_EQ(r.all, LxList_AllocSize(r.list, -1));
    }
    free(slots[0]);
}

std::string HeapText(const tLXLIST *list) {
    std::string s;
    for (LONG i = 0; i < list->count; i++) s += *(const char *)Slot(list, i);
    return s;
}

TEST(LxListHeapMove, RangesOrderAndRefusals) {
    ListPtr source, target;
    auto setUp = [&] {
        source = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_THREADSAFE);
        target = MakeList(4, 4, 4, LXLIST_HEAP | LXLIST_THREADSAFE);
        for (char c : std::string("abcde")) LxList_AllocAndInsertItem(source.get(), &c, 1, -1, 0);
        for (char c : std::string("XY")) LxList_AllocAndInsertItem(target.get(), &c, 1, -1, 0);
    };
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
        setUp();
        EXPECT_EQ(r.want, LxList_MoveItemsBetweenHeapLists(target.get(), r.targetIndex,
                                                           source.get(), r.sourceIndex, r.count));
        EXPECT_EQ(r.target, HeapText(target.get()));
        EXPECT_EQ(r.source, HeapText(source.get()));
        EXPECT_EQ(LXLIST_HEAP | LXLIST_THREADSAFE | LXLIST_ANYTHREAD, source->options);
    }
    setUp();
    ListPtr plain = PlainOf("AB");
    EXPECT_EQ(LX_E_FAIL, LxList_MoveItemsBetweenHeapLists(plain.get(), 0, source.get(), 0, 1));
    EXPECT_EQ(LX_E_FAIL, LxList_MoveItemsBetweenHeapLists(target.get(), 0, plain.get(), 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG,
              LxList_MoveItemsBetweenHeapLists(target.get(), 0, target.get(), 0, 1));
    EXPECT_EQ(LX_E_INVALIDARG, LxList_MoveItemsBetweenHeapLists(nullptr, 0, source.get(), 0, 1));
    void *pending;
    ASSERT_EQ(LX_S_OK, LxList_AllocItem(target.get(), 4, &pending));
    EXPECT_EQ(LX_E_FAIL, LxList_MoveItemsBetweenHeapLists(target.get(), 0, source.get(), 0, 1));
    EXPECT_EQ("abcde", HeapText(source.get()));
    LxList_DeleteList(target.get(), -1, -1, FALSE);
}

TEST(LxListFind, LinearFinds) {
    ListPtr list = PlainOf("73797");
    struct Row {
        const char *name;
        LONG start, count, want;
    } rows[] = {
        {"whole", 0, -1, 0},          {"from 1", 1, -1, 2},         {"count cuts", 3, 1, -1},
        {"cut at the end", 3, 100, 4}, {"negative start", -2, 1, 0}, {"start at count", 5, -1, -1},
        {"zero count", 0, 0, -1},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        DWORD seven = '7';
        EXPECT_EQ(r.want, LxList_FindSpecificItemRange(list.get(), r.start, r.count, AsKey('7')));
        EXPECT_EQ(r.want, LxList_FindItemRange(list.get(), r.start, r.count, &seven, MatchValue));
    }
    EXPECT_EQ(-1, LxList_FindItemRange(list.get(), 0, -1, nullptr, nullptr));
    // An array list compares all 12 bytes of a 10-byte item's slot.
    ListPtr array = MakeList(10, 4, 4, LXLIST_ARRAY);
    BYTE a[12], b[12], key[12];
    memset(a, 0x11, sizeof a);
    memset(b, 0x22, sizeof b);
    b[10] = b[11] = 0x77;
    LxList_InsertList(array.get(), -1, a, 1);
    LxList_InsertList(array.get(), -1, b, 1);
    EXPECT_EQ(1, LxList_FindSpecificItemRange(array.get(), 0, -1, b));
    memcpy(key, b, sizeof key);
    key[11] = 0;
    EXPECT_EQ(-1, LxList_FindSpecificItemRange(array.get(), 0, -1, key));
    EXPECT_EQ(-1, LxList_FindSpecificItemRange(array.get(), 0, -1, nullptr));
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
        {"13335", '3', 0, -1, 2, 2},      {"1123333444", '3', 0, -1, 4, 4},
        {"1123333444", '4', 0, -1, 7, 7}, {"", 'F', 0, -1, -1, 0},
        {"ACEGIK", 'G', 2, 2, 3, 3},      {"ACEGIK", 'I', 2, 2, -1, 4},   // beyond the range
        {"ACEGIK", 'B', 2, 2, -1, 2},     {"ACEGIK", 'F', 2, 2, -1, 3},   // below, between
        {"ACEGIK", 'C', -3, 3, 1, 1},     {"ACEGIK", 'K', 4, 99, 5, 5},   // start, count cut
        {"ACEGIK", 'Z', 6, -1, -1, 0},    {"ACEGIK", 'H', 3, 0, -1, 0},   // empty ranges give 0
        {"ACEGIK", 'A', 7, -1, -1, -1},                                   // start beyond count
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(testing::Message() << r.items << " key " << r.key << " from " << r.start
                                        << " count " << r.count);
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
    ListPtr list = PlainOf("123");
    EXPECT_EQ(-1, LxList_FindSortedItemRange(list.get(), AsKey('1'), 0, -1, nullptr));
    EXPECT_EQ(-1, LxList_FindSortedInsertIndexRange(list.get(), AsKey('1'), 0, -1, nullptr));
    list->sortCriteria = 0xC0FFEE;
    g_criteria = 0;
    EXPECT_EQ(1, LxList_FindSortedItemRange(list.get(), AsKey('2'), 0, -1, CompareValues));
    EXPECT_EQ(0xC0FFEEu, g_criteria);
    ListPtr array = KeyedOf({{1, 'a'}, {4, 'b'}, {9, 'c'}});
    Keyed key = {4, '?'};
    EXPECT_EQ(1, LxList_FindSortedItemRange(array.get(), &key, 0, -1, CompareKeyed));
    key.key = 5;
    EXPECT_EQ(2, LxList_FindSortedInsertIndexRange(array.get(), &key, 0, -1, CompareKeyed));
}

// Ties show each algorithm's own order: selection from the end keeps the
// first of equals as the best; the heap sort's sift gives its own order.
TEST(LxListSort, ExactOrderCriteriaAndNullComparison) {
    const std::vector<Keyed> input = {{2, 'a'}, {1, 'b'}, {2, 'c'}, {1, 'd'}, {3, 'e'}, {2, 'f'}};
    struct Row {
        const char *name;
        std::vector<Keyed> items;
        bool heap;
        const char *order;
        LONG comparisons;
    } rows[] = {
        {"selection", input, false, "bdcfae", 15},
        {"heap: the sift walks on down after a level without a swap", input, true, "bdcafe", 16},
        // Looking at the lone last child on the second level would differ here.
        {"heap, lone last child", {{0, 'a'}, {1, 'b'}, {2, 'c'}, {0, 'd'}, {1, 'e'}, {1, 'f'}},
         true, "dabefc", 14},
        {"selection of two equals swaps them", {{1, 'x'}, {1, 'y'}}, false, "yx", 1},
        {"one item is not compared", {{3, 'a'}}, false, "a", 0},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        ListPtr list = KeyedOf(r.items);
        g_comparisons = 0;
        ASSERT_EQ(LX_S_OK, (r.heap ? LxList_HeapSort : LxList_Sort)(list.get(), 3, CompareKeyed));
        EXPECT_EQ(r.order, Ids(list.get()));
        EXPECT_EQ(r.comparisons, g_comparisons);
        EXPECT_EQ(3u, list->sortCriteria);
    }
    ListPtr list = PlainOf("312");
    EXPECT_EQ(LX_S_OK, LxList_Sort(list.get(), 77, nullptr));
    EXPECT_EQ(77u, LxList_GetSortCriteria(list.get()));
    EXPECT_EQ(LX_S_OK, LxList_HeapSort(list.get(), 78, nullptr));
    EXPECT_EQ(78u, LxList_GetSortCriteria(list.get()));
    EXPECT_EQ("312", Text(list.get()));
}

struct Serial {
    LONG key, serial;
    DWORD check;
};

int LXCALLBACK CompareSerial(DWORD, const void *a, const void *b) {
    LONG x = ((const Serial *)a)->key, y = ((const Serial *)b)->key;
    return x < y ? -1 : x > y ? 1 : 0;
}

// Both sorts order 3-word items by key and carry each whole item along.
TEST(LxListSort, SortAndHeapSortOnRandomData) {
    std::mt19937 rng(99);
    for (int round = 0; round < 120; round++) {
        LONG n = (LONG)(rng() % 150);
        bool heap = round & 1;
        SCOPED_TRACE(testing::Message() << "round " << round << " n " << n);
        std::vector<Serial> items(n);
        for (LONG i = 0; i < n; i++) items[i] = {(LONG)(rng() % 20) - 10, i, 0xA5A50000u ^ i};
        ListPtr list = MakeList(sizeof(Serial), 16, 16, LXLIST_ARRAY);
        if (n) LxList_InsertList(list.get(), -1, items.data(), n);
        ASSERT_EQ(LX_S_OK, (heap ? LxList_HeapSort : LxList_Sort)(list.get(), 0, CompareSerial));
        std::vector<Serial> got((Serial *)list->items, (Serial *)list->items + n);
        for (LONG i = 1; i < n; i++) ASSERT_LE(got[i - 1].key, got[i].key) << "at " << i;
        std::sort(got.begin(), got.end(), [](Serial a, Serial b) { return a.serial < b.serial; });
        if (n) { ASSERT_EQ(0, memcmp(&got[0], &items[0], n * sizeof(Serial))) << "lost or torn"; }
    }
}

TEST(LxListSort, SortToPlainArrayAndHeapTargets) {
    ListPtr source = PlainOf("53931"), target = PlainOf("48");
    EXPECT_EQ(LX_S_OK, LxList_SortTo(target.get(), source.get(), 12, CompareValues));
    EXPECT_EQ("1334589", Text(target.get()));
    EXPECT_EQ(12u, target->sortCriteria);
    EXPECT_EQ("53931", Text(source.get()));
    ListPtr arrayTarget = KeyedOf({});
    ListPtr arraySource = KeyedOf({{2, 'a'}, {1, 'b'}, {2, 'c'}});
    ASSERT_EQ(LX_S_OK, LxList_SortTo(arrayTarget.get(), arraySource.get(), 0, CompareKeyed));
    // An equal key goes before the one found: the later 'c' lands before 'a'.
    EXPECT_EQ("bca", Ids(arrayTarget.get()));
    ListPtr empty = PlainOf("");
    EXPECT_EQ(LX_S_OK, LxList_SortTo(empty.get(), source.get(), 6, nullptr));
    EXPECT_EQ(0, empty->count);
    EXPECT_EQ(6u, empty->sortCriteria);
    // A heap target refuses every insertion, and the call says nothing of it.
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
