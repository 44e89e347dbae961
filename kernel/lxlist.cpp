/*
 * tLXLIST: one locked GlobalAlloc table of fixed-width slots. Plain lists
 * hold 32-bit values, heap lists own the items their slots point at (from a
 * private heap or the C runtime), array lists hold the items themselves.
 *
 * Every export checks its list first (lock or owner thread) and then works
 * through the unlocked helpers below, so that a call made under a held lock
 * never takes it twice more than it needs to. Index arithmetic is done in
 * 64 bits wherever a caller's count is added, since any signed overflow
 * traps in the hardened build.
 */
#include "lxlist.h"

#include <malloc.h>
#include <cstdlib>
#include <cstring>

namespace {

typedef long long i64;

const LONG kMinGrowBy = 4;
const LONG kMaxGrowBy = 0x10400;
const LONG kDefaultSlots = 16;
const i64 kMaxTableBytes = 0x7FFFFFFF;
const DWORD kHeapAllocFlags = HEAP_NO_SERIALIZE | HEAP_ZERO_MEMORY; /* 9 */
const DWORD kHeapFlags = HEAP_NO_SERIALIZE;                         /* 1 */
const size_t kStackMoveBytes = 512;

/* The lock with LXLIST_THREADSAFE; otherwise the owner test, which bit 30
   (always set by creation) switches off. */
class Guard {
public:
    explicit Guard(tLXLIST *list) : list_(list), locked_(false), ok_(false) {
        if (list->options & LXLIST_THREADSAFE) {
            EnterCriticalSection(&list->lock);
            locked_ = ok_ = true;
        } else {
            ok_ = (list->options & LXLIST_ANYTHREAD) != 0 ||
                  GetCurrentThreadId() == list->threadOwner;
        }
    }
    ~Guard() {
        if (locked_) LeaveCriticalSection(&list_->lock);
    }
    bool ok() const { return ok_; }

    Guard(const Guard &) = delete;
    Guard &operator=(const Guard &) = delete;

private:
    tLXLIST *list_;
    bool locked_;
    bool ok_;
};

inline bool IsHeapList(const tLXLIST *list) { return (list->options & LXLIST_HEAP) != 0; }
inline bool IsArrayList(const tLXLIST *list) { return (list->options & LXLIST_ARRAY) != 0; }

inline BYTE *SlotAt(const tLXLIST *list, LONG i) {
    return (BYTE *)list->items + (size_t)i * (size_t)list->itemSize;
}

inline void *SlotPointer(const tLXLIST *list, LONG i) { return ((void **)list->items)[i]; }

/* What a comparison or a search hands out for slot i. */
inline const void *ItemAt(const tLXLIST *list, LONG i) {
    return IsArrayList(list) ? (const void *)SlotAt(list, i) : SlotPointer(list, i);
}

inline HGLOBAL TableHandle(const tLXLIST *list) { return GlobalHandle(list->items); }

void *AllocItemMemory(tLXLIST *list, LONG size) {
    if (list->heap) return HeapAlloc(list->heap, list->heapAllocFlags, (SIZE_T)size);
    return calloc(1, (size_t)size);
}

void FreeItemMemory(tLXLIST *list, void *item) {
    if (!item) return;
    if (list->heap)
        HeapFree(list->heap, list->heapFlags, item);
    else
        free(item);
}

LONG ItemMemorySize(const tLXLIST *list, void *item) {
    if (!item) return 0;
    if (list->heap) {
        SIZE_T n = HeapSize(list->heap, list->heapFlags, item);
        return n == (SIZE_T)-1 ? 0 : (LONG)n;
    }
    size_t n = _msize(item);
    return n == (size_t)-1 ? 0 : (LONG)n;
}

bool TableBytes(const tLXLIST *list, i64 slots, SIZE_T *bytes) {
    i64 n = slots * (i64)list->itemSize;
    if (slots < 0 || n > kMaxTableBytes) return false;
    *bytes = (SIZE_T)n;
    return true;
}

/* Unlock, reallocate, lock again. A failed reallocation leaves the block
   unlocked; a moveable block that is not reallocated does not move, so the
   table stays where it was. */
bool ResizeTable(tLXLIST *list, LONG slots) {
    SIZE_T bytes;
    if (!TableBytes(list, slots, &bytes)) return false;
    HGLOBAL h = TableHandle(list);
    if (!h) return false;
    GlobalUnlock(h);
    HGLOBAL nh = GlobalReAlloc(h, bytes, GMEM_ZEROINIT);
    if (!nh) return false;
    void *p = GlobalLock(nh);
    if (!p) return false;
    list->items = p;
    return true;
}

HRESULT DoGrow(tLXLIST *list, LONG slots) {
    i64 want = slots > 0 ? slots : list->growBy;
    want = (want + list->growBy - 1) / list->growBy * list->growBy;
    i64 total = (i64)list->allocated + want;
    if (total > 0x7FFFFFFF) return LX_E_OUTOFMEMORY;
    if (!ResizeTable(list, (LONG)total)) return LX_E_OUTOFMEMORY;
    list->allocated = (LONG)total;
    return LX_S_OK;
}

HRESULT DoShrink(tLXLIST *list, LONG slots) {
    LONG freeSlots = list->allocated - list->count;
    i64 n = slots < 0 ? freeSlots : slots;
    n = (n + list->growBy - 1) / list->growBy * list->growBy;
    if (n > freeSlots) n -= list->growBy;
    if (n < 1) return LX_S_OK;
    /* An argument far beyond the free slots would cut into the items. */
    i64 keep = (i64)list->allocated - n;
    if (keep < list->count) keep = list->count;
    if (keep < 1) keep = 1;
    if (keep == list->allocated) return LX_S_OK;
    if (!ResizeTable(list, (LONG)keep)) return LX_E_OUTOFMEMORY;
    list->allocated = (LONG)keep;
    return LX_S_OK;
}

HRESULT DoInsert(tLXLIST *list, LONG index, const void *source, LONG count) {
    i64 n;
    void *pending = nullptr;
    if (source) {
        if (count < 0)
            n = -(i64)count;
        else if (IsHeapList(list))
            return LX_E_FAIL;
        else
            n = count;
    } else {
        if (count != -1 || !list->pendingItem) return LX_E_FAIL;
        pending = list->pendingItem;
        source = &pending;
        n = 1;
    }
    if (n > 0x7FFFFFFF - (i64)list->count) return LX_E_OUTOFMEMORY;
    if (index < 0 || index >= list->count) index = list->count;
    if ((i64)list->allocated < list->count + n) {
        HRESULT hr = DoGrow(list, (LONG)n);
        if (FAILED(hr)) return hr;
    }
    size_t width = (size_t)list->itemSize;
    BYTE *at = SlotAt(list, index);
    memmove(at + (size_t)n * width, at, (size_t)(list->count - index) * width);
    memcpy(at, source, (size_t)n * width);
    list->count += (LONG)n;
    list->pendingItem = nullptr;
    return LX_S_OK;
}

HRESULT DoDelete(tLXLIST *list, LONG index, LONG count, BOOL shrink) {
    if (index < 0 && count < 0) {
        if (!list->pendingItem) return LX_E_FAIL;
        FreeItemMemory(list, list->pendingItem);
        list->pendingItem = nullptr;
        return LX_S_OK;
    }
    if (index >= 0 && count < 0) count = list->count - index;
    if (count < 1) return LX_S_OK;
    if (index < 0 || index >= list->count) return LX_E_FAIL;
    if (count > list->count - index) count = list->count - index;
    if (IsHeapList(list)) {
        for (LONG i = index; i < index + count; i++) FreeItemMemory(list, SlotPointer(list, i));
    }
    size_t width = (size_t)list->itemSize;
    LONG tail = list->count - index - count;
    memmove(SlotAt(list, index), SlotAt(list, index + count), (size_t)tail * width);
    memset(SlotAt(list, list->count - count), 0, (size_t)count * width);
    list->count -= count;
    if (shrink && list->allocated - list->count > list->growBy)
        return DoShrink(list, list->allocated - list->count);
    return LX_S_OK;
}

HRESULT DoAllocItem(tLXLIST *list, LONG size, void **ppItem) {
    *ppItem = nullptr;
    if (!IsHeapList(list) || list->pendingItem) return LX_E_FAIL;
    if (size < 0) return LX_E_INVALIDARG;
    void *item = AllocItemMemory(list, size);
    if (!item) return LX_E_OUTOFMEMORY;
    list->pendingItem = item;
    *ppItem = item;
    return LX_S_OK;
}

/* [first, end) of a search range: a negative start counts as 0, a negative
   count runs to the end, and the count is cut there. */
void SearchRange(const tLXLIST *list, LONG start, LONG count, LONG *first, LONG *end) {
    if (start < 0) start = 0;
    if (start >= list->count) {
        *first = *end = start;
        return;
    }
    *first = start;
    *end = (count < 0 || count > list->count - start) ? list->count : start + count;
}

/* Bisection over [first, end) in the classic form: num is the span from
   lo, and an even span looks at the lower of its two middles. Returns a
   match, or -1 with *pLo where the key belongs, give or take the one slot
   still to compare when *pNum is 1 (else it is 0). */
LONG Bisect(const tLXLIST *list, const void *key, LONG first, LONG end,
            LXLIST_COMPARE compare, LONG *pLo, LONG *pNum) {
    LONG lo = first, num = end - first;
    const DWORD criteria = list->sortCriteria;
    for (LONG half; (half = num / 2) != 0;) {
        const bool odd = (num & 1) != 0;
        const LONG mid = odd ? lo + half : lo + half - 1;
        const int r = compare(criteria, key, ItemAt(list, mid));
        if (r == 0) return mid;
        if (r < 0) {
            num = odd ? half : half - 1;
        } else {
            lo = mid + 1;
            num = half;
        }
    }
    *pLo = lo;
    *pNum = num;
    return -1;
}

LONG DoFindSorted(const tLXLIST *list, const void *key, LONG first, LONG end,
                  LXLIST_COMPARE compare) {
    LONG lo, num;
    const LONG found = Bisect(list, key, first, end, compare, &lo, &num);
    if (found >= 0 || num == 0) return found;
    return compare(list->sortCriteria, key, ItemAt(list, lo)) == 0 ? lo : -1;
}

LONG DoFindSortedInsert(const tLXLIST *list, const void *key, LONG start, LONG count,
                        LXLIST_COMPARE compare) {
    if (start < 0) start = 0;
    if (start > list->count) return -1;
    LONG first, end;
    SearchRange(list, start, count, &first, &end);
    if (first >= end) return 0;
    LONG lo, num;
    const LONG found = Bisect(list, key, first, end, compare, &lo, &num);
    if (found >= 0) return found;
    if (num == 1 && compare(list->sortCriteria, key, ItemAt(list, lo)) > 0) return lo + 1;
    return lo;
}

void SwapSlots(tLXLIST *list, LONG a, LONG b) {
    DWORD *pa = (DWORD *)SlotAt(list, a);
    DWORD *pb = (DWORD *)SlotAt(list, b);
    for (LONG w = list->itemSize / 4; w > 0; w--, pa++, pb++) {
        DWORD t = *pa;
        *pa = *pb;
        *pb = t;
    }
}

/* Positions from 1. The walk goes on down the larger child whether or not
   it swapped, and stops at c == e, so a lone last child is only looked at
   from the first level; the root's later sifts pick it up. */
void HeapSift(tLXLIST *list, DWORD criteria, LXLIST_COMPARE compare, LONG i, LONG e) {
    LONG c = 2 * i;
    do {
        if (c < e && compare(criteria, ItemAt(list, c), ItemAt(list, c - 1)) > 0) c++;
        if (compare(criteria, ItemAt(list, c - 1), ItemAt(list, i - 1)) > 0)
            SwapSlots(list, c - 1, i - 1);
        i = c;
        c = 2 * i;
    } while (c < e);
}

bool IsReadable(const void *p, size_t size) {
    const BYTE *a = (const BYTE *)p;
    if (!a || (size_t)-1 - (size_t)a < size) return false;
    const BYTE *end = a + size;
    while (a < end) {
        MEMORY_BASIC_INFORMATION mbi;
        if (VirtualQuery(a, &mbi, sizeof mbi) != sizeof mbi) return false;
        if (mbi.State != MEM_COMMIT) return false;
        if (mbi.Protect & (PAGE_GUARD | PAGE_NOACCESS)) return false;
        const DWORD readable = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READ |
                               PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
        if (!(mbi.Protect & readable)) return false;
        a = (const BYTE *)mbi.BaseAddress + mbi.RegionSize;
    }
    return true;
}

void FreeListRecord(tLXLIST *list) {
    HGLOBAL h = GlobalHandle(list);
    if (h) {
        GlobalUnlock(h);
        GlobalFree(h);
    }
}

}  // namespace

/* ---- Creation and destruction ------------------------------------------ */

LXEXPORT(HRESULT) LxList_CreateExZ(tLXLIST **ppList, LONG itemSize, LONG initialCapacity,
                                   LONG growBy, DWORD options, DWORD, DWORD, DWORD) {
    if (!ppList) return LX_E_INVALIDARG;
    const bool placed = (options & LXLIST_PLACED) != 0;
    tLXLIST *list;
    if (placed) {
        if (!*ppList) return LX_E_FAIL;
    } else {
        *ppList = nullptr;
    }
    if ((options & LXLIST_HEAP) && (options & LXLIST_ARRAY)) return LX_E_FAIL;

    LONG width = 4;
    if (options & LXLIST_ARRAY) {
        if (itemSize < 1 || itemSize > 0x7FFFFFFC) return LX_E_INVALIDARG;
        width = (itemSize + 3) & ~3;
    }

    if (placed) {
        list = *ppList;
    } else {
        HGLOBAL h = GlobalAlloc(GHND, sizeof(tLXLIST));
        list = h ? (tLXLIST *)GlobalLock(h) : nullptr;
        if (!list) {
            if (h) GlobalFree(h);
            return LX_E_OUTOFMEMORY;
        }
    }
    memset(list, 0, sizeof *list);
    list->tag = LXLIST_TAG;
    list->itemSize = width;

    if (growBy < 1) growBy = kDefaultSlots;
    if (growBy < kMinGrowBy) growBy = kMinGrowBy;
    if (growBy > kMaxGrowBy) growBy = kMaxGrowBy;
    list->growBy = growBy;

    i64 capacity = initialCapacity;
    if (capacity < 1) capacity = kDefaultSlots;
    if (capacity < 4) capacity = 4;
    capacity = (capacity + growBy - 1) / growBy * growBy;

    SIZE_T bytes = 0;
    HGLOBAL table = nullptr;
    if (TableBytes(list, capacity, &bytes)) table = GlobalAlloc(GHND, bytes);
    list->items = table ? GlobalLock(table) : nullptr;
    if (!list->items) {
        if (table) GlobalFree(table);
        list->tag = 0;
        if (!placed) FreeListRecord(list);
        return LX_E_OUTOFMEMORY;
    }
    list->allocated = (LONG)capacity;

    if (options & LXLIST_THREADSAFE) InitializeCriticalSection(&list->lock);
    list->threadOwner = GetCurrentThreadId();
    list->options = options | LXLIST_ANYTHREAD;
    list->heapAllocFlags = kHeapAllocFlags;
    list->heapFlags = kHeapFlags;

    if ((options & LXLIST_HEAP) && (options & LXLIST_PRIVATEHEAP)) {
        list->heap = HeapCreate(HEAP_NO_SERIALIZE, 4096, 0);
        if (!list->heap) {
            LxList_Destroy(list);
            return LX_E_OUTOFMEMORY;
        }
    }
    if (!placed) *ppList = list;
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxList_Destroy(tLXLIST *list) {
    if (!list) return LX_S_OK;
    if (list->tag != LXLIST_TAG) return LX_E_INVALIDARG;
    const bool threadSafe = (list->options & LXLIST_THREADSAFE) != 0;
    if (threadSafe) {
        EnterCriticalSection(&list->lock);
    } else if (!(list->options & LXLIST_ANYTHREAD) && GetCurrentThreadId() != list->threadOwner) {
        return LX_E_FAIL;
    }

    if (IsHeapList(list)) {
        if (list->heap) {
            HeapDestroy(list->heap);
            list->heap = nullptr;
            memset(list->items, 0, (size_t)list->count * sizeof(void *));
            list->pendingItem = nullptr;
        } else {
            /* A pending item is the caller's to give up. */
            for (LONG i = 0; i < list->count; i++) free(SlotPointer(list, i));
        }
    }
    HGLOBAL h = TableHandle(list);
    if (h) {
        GlobalUnlock(h);
        GlobalFree(h);
    }
    list->items = nullptr;
    list->count = 0;
    list->allocated = 0;

    if (threadSafe) {
        LeaveCriticalSection(&list->lock);
        DeleteCriticalSection(&list->lock);
    }
    list->tag = 0;
    if (!(list->options & LXLIST_PLACED)) FreeListRecord(list);
    return LX_S_OK;
}

/* ---- Identity and fields ------------------------------------------------ */

LXEXPORT(BOOL) LxList_IsList(const void *p, LONG size) {
    if (size != (LONG)sizeof(tLXLIST)) return FALSE;
    if (!IsReadable(p, sizeof(tLXLIST))) return FALSE;
    return ((const tLXLIST *)p)->tag == LXLIST_TAG;
}

LXEXPORT(BOOL) LxList_IsListFast(const tLXLIST *list) {
    return list && list->tag == LXLIST_TAG;
}

LXEXPORT(BOOL) LxList_IsValidIndexSlow(tLXLIST *list, LONG index) {
    if (!list) return FALSE;
    Guard g(list);
    if (!g.ok()) return FALSE;
    return index >= 0 && index < list->count;
}

LXEXPORT(LONG) LxList_SetUserData(tLXLIST *list, LONG value) {
    if (!list) return -1;
    Guard g(list);
    if (!g.ok()) return -1;
    return InterlockedExchange(&list->userData, value);
}

LXEXPORT(LONG) LxList_GetUserData(tLXLIST *list) {
    if (!list) return -1;
    Guard g(list);
    if (!g.ok()) return -1;
    return list->userData;
}

/* Plain field reads, left outside the owner test: a caller refused by it
   has to be able to ask why. */
LXEXPORT(DWORD) LxList_GetCreateOptions(tLXLIST *list) { return list ? list->options : 0; }

LXEXPORT(DWORD) LxList_GetSortCriteria(tLXLIST *list) { return list ? list->sortCriteria : 0; }

LXEXPORT(DWORD) LxList_GetThreadOwner(tLXLIST *list) { return list ? list->threadOwner : 0; }

LXEXPORT(HRESULT) LxList_SetThreadOwner(tLXLIST *list, DWORD threadId) {
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    list->threadOwner = threadId ? threadId : GetCurrentThreadId();
    return LX_S_OK;
}

LXEXPORT(LONG) LxList_GetFileAndLine(tLXLIST *, char *buffer, LONG size) {
    if (buffer && size > 0) buffer[0] = '\0';
    return -1;
}

/* ---- Table size ------------------------------------------------------------ */

LXEXPORT(HRESULT) LxList_GrowAllocated(tLXLIST *list, LONG slots) {
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    return DoGrow(list, slots);
}

LXEXPORT(HRESULT) LxList_ShrinkAllocated(tLXLIST *list, LONG slots) {
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    return DoShrink(list, slots);
}

/* ---- Insertion, deletion, moving ------------------------------------------ */

LXEXPORT(HRESULT) LxList_InsertList(tLXLIST *list, LONG index, const void *source, LONG count) {
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    return DoInsert(list, index, source, count);
}

LXEXPORT(HRESULT) LxList_DeleteList(tLXLIST *list, LONG index, LONG count, BOOL shrink) {
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    return DoDelete(list, index, count, shrink);
}

LXEXPORT(HRESULT) LxList_MoveRange(tLXLIST *list, LONG from, LONG to, LONG count) {
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    if (from < 0) return LX_E_INVALIDARG;
    if (to < 0) to = 0;
    if (count < 0) count = list->count - (from > to ? from : to);
    if ((i64)from + count > list->count || (i64)to + count > list->count) return LX_E_FAIL;
    if (count < 1 || from == to) return LX_S_OK;

    size_t width = (size_t)list->itemSize;
    size_t blockBytes = (size_t)count * width;
    BYTE stackBuffer[kStackMoveBytes];
    HGLOBAL h = nullptr;
    BYTE *block = stackBuffer;
    if (blockBytes > sizeof stackBuffer) {
        h = GlobalAlloc(GMEM_MOVEABLE, blockBytes);
        block = h ? (BYTE *)GlobalLock(h) : nullptr;
        if (!block) {
            if (h) GlobalFree(h);
            return LX_E_OUTOFMEMORY;
        }
    }
    memcpy(block, SlotAt(list, from), blockBytes);
    if (from < to)
        memmove(SlotAt(list, from), SlotAt(list, from + count), (size_t)(to - from) * width);
    else
        memmove(SlotAt(list, to + count), SlotAt(list, to), (size_t)(from - to) * width);
    memcpy(SlotAt(list, to), block, blockBytes);
    if (h) {
        GlobalUnlock(h);
        GlobalFree(h);
    }
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxList_ArrayForceItemCount(tLXLIST *list, LONG newCount, BOOL shrink) {
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    if (!IsArrayList(list)) return LX_E_FAIL;
    if (newCount < 0) return LX_E_INVALIDARG;
    if (newCount > list->count) {
        if (newCount > list->allocated) {
            HRESULT hr = DoGrow(list, newCount - list->allocated);
            if (FAILED(hr)) return hr;
        }
        list->count = newCount;
        return LX_S_OK;
    }
    /* Lowering leaves the items in their slots, and the delete of zero items
       returns before it could shrink: callers count on both. */
    list->count = newCount;
    if (shrink) return DoDelete(list, newCount, 0, shrink);
    return LX_S_OK;
}

/* ---- Owned items ------------------------------------------------------------- */

LXEXPORT(HRESULT) LxList_AllocItem(tLXLIST *list, LONG size, void **ppItem) {
    if (!list || !ppItem) return LX_E_INVALIDARG;
    *ppItem = nullptr;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    return DoAllocItem(list, size, ppItem);
}

LXEXPORT(HRESULT) LxList_AllocAndInsertItem(tLXLIST *list, const void *source, LONG size,
                                            LONG index, LONG *pIndex) {
    if (pIndex) *pIndex = -1;
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    void *item;
    HRESULT hr = DoAllocItem(list, size, &item);
    if (FAILED(hr)) return hr;
    if (source) memcpy(item, source, (size_t)size);
    if (index < 0 || index > list->count) index = list->count;
    hr = DoInsert(list, index, nullptr, -1);
    if (FAILED(hr)) {
        FreeItemMemory(list, item);
        list->pendingItem = nullptr;
        return hr;
    }
    if (pIndex) *pIndex = index;
    return LX_S_OK;
}

LXEXPORT(LONG) LxList_AllocSize(tLXLIST *list, LONG index) {
    if (!list) return 0;
    Guard g(list);
    if (!g.ok()) return 0;
    if (index >= 0) {
        if (index >= list->count) return 0;
        if (IsArrayList(list)) return list->itemSize;
        return ItemMemorySize(list, SlotPointer(list, index));
    }
    i64 total = (i64)GlobalSize(TableHandle(list)) + (i64)sizeof(tLXLIST);
    if (!IsArrayList(list)) {
        for (LONG i = 0; i < list->count; i++) total += ItemMemorySize(list, SlotPointer(list, i));
    }
    return total > 0x7FFFFFFF ? 0x7FFFFFFF : (LONG)total;
}

LXEXPORT(HRESULT) LxList_ReAllocItem(tLXLIST *list, LONG index, LONG size) {
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    if (!IsHeapList(list)) return LX_E_FAIL;
    if (index < 0 || index >= list->count) return LX_E_FAIL;
    /* realloc to 0 would free the item behind the slot's back. */
    if (size < 1) return LX_E_INVALIDARG;
    void *old = SlotPointer(list, index);
    void *item;
    if (list->heap)
        item = old ? HeapReAlloc(list->heap, list->heapAllocFlags, old, (SIZE_T)size)
                   : HeapAlloc(list->heap, list->heapAllocFlags, (SIZE_T)size);
    else
        item = realloc(old, (size_t)size);
    if (!item) return LX_E_OUTOFMEMORY;
    ((void **)list->items)[index] = item;
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxList_MoveItemsBetweenHeapLists(tLXLIST *target, LONG targetIndex,
                                                   tLXLIST *source, LONG sourceIndex,
                                                   LONG count) {
    if (!target || !source || target == source) return LX_E_INVALIDARG;
    Guard gt(target);
    if (!gt.ok()) return LX_E_FAIL;
    Guard gs(source);
    if (!gs.ok()) return LX_E_FAIL;
    if (!IsHeapList(target) || !IsHeapList(source) || target->pendingItem) return LX_E_FAIL;
    /* Past the end counts as the end too: inserting each item there keeps
       the order only if the index stays the same for the whole walk. */
    if (targetIndex < 0 || targetIndex > target->count) targetIndex = target->count;
    if (count < 0) count = source->count;
    if (count == 0) return LX_S_OK;
    if (sourceIndex < 0 || (i64)sourceIndex + count > source->count) return LX_E_FAIL;

    /* Without its heap bit the source lets go of its slots without freeing. */
    source->options &= ~LXLIST_HEAP;
    HRESULT hr = LX_S_OK;
    for (LONG i = sourceIndex + count - 1; i >= sourceIndex; i--) {
        void *item = SlotPointer(source, i);
        hr = DoInsert(target, targetIndex, &item, -1);
        if (FAILED(hr)) break;
        hr = DoDelete(source, i, 1, FALSE);
        if (FAILED(hr)) break;
    }
    source->options |= LXLIST_HEAP;
    return hr;
}

/* ---- Searches -------------------------------------------------------------- */

LXEXPORT(LONG) LxList_FindSpecificItemRange(tLXLIST *list, LONG start, LONG count,
                                            const void *item) {
    if (!list) return -1;
    Guard g(list);
    if (!g.ok()) return -1;
    LONG first, end;
    SearchRange(list, start, count, &first, &end);
    if (IsArrayList(list)) {
        if (!item) return -1;
        for (LONG i = first; i < end; i++)
            if (memcmp(SlotAt(list, i), item, (size_t)list->itemSize) == 0) return i;
    } else {
        for (LONG i = first; i < end; i++)
            if (SlotPointer(list, i) == item) return i;
    }
    return -1;
}

LXEXPORT(LONG) LxList_FindItemRange(tLXLIST *list, LONG start, LONG count, void *data,
                                    LXLIST_MATCH match) {
    if (!list || !match) return -1;
    Guard g(list);
    if (!g.ok()) return -1;
    LONG first, end;
    SearchRange(list, start, count, &first, &end);
    for (LONG i = first; i < end; i++)
        if (match(data, ItemAt(list, i)) == 0) return i;
    return -1;
}

LXEXPORT(LONG) LxList_FindSortedItemRange(tLXLIST *list, const void *key, LONG start,
                                          LONG count, LXLIST_COMPARE compare) {
    if (!list || !compare) return -1;
    Guard g(list);
    if (!g.ok()) return -1;
    LONG first, end;
    SearchRange(list, start, count, &first, &end);
    return DoFindSorted(list, key, first, end, compare);
}

LXEXPORT(LONG) LxList_FindSortedInsertIndexRange(tLXLIST *list, const void *key, LONG start,
                                                 LONG count, LXLIST_COMPARE compare) {
    if (!list || !compare) return -1;
    Guard g(list);
    if (!g.ok()) return -1;
    return DoFindSortedInsert(list, key, start, count, compare);
}

/* ---- Sorting ----------------------------------------------------------------- */

LXEXPORT(HRESULT) LxList_Sort(tLXLIST *list, DWORD criteria, LXLIST_COMPARE compare) {
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    list->sortCriteria = criteria;
    if (!compare || list->count < 2) return LX_S_OK;
    for (LONG last = list->count - 1; last > 0; last--) {
        LONG best = 0;
        for (LONG i = 1; i <= last; i++)
            if (compare(criteria, ItemAt(list, i), ItemAt(list, best)) > 0) best = i;
        if (best != last) SwapSlots(list, best, last);
    }
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxList_HeapSort(tLXLIST *list, DWORD criteria, LXLIST_COMPARE compare) {
    if (!list) return LX_E_INVALIDARG;
    Guard g(list);
    if (!g.ok()) return LX_E_FAIL;
    list->sortCriteria = criteria;
    LONG n = list->count;
    if (!compare || n < 2) return LX_S_OK;
    for (LONG i = n / 2; i >= 2; i--) HeapSift(list, criteria, compare, i, n);
    for (LONG e = n; e >= 2; e--) {
        HeapSift(list, criteria, compare, 1, e);
        SwapSlots(list, 0, e - 1);
    }
    return LX_S_OK;
}

LXEXPORT(HRESULT) LxList_SortTo(tLXLIST *target, tLXLIST *source, DWORD criteria,
                                LXLIST_COMPARE compare) {
    if (!target || !source || target == source) return LX_E_INVALIDARG;
    Guard gs(source);
    if (!gs.ok()) return LX_E_FAIL;
    {
        Guard gt(target);
        if (!gt.ok()) return LX_E_FAIL;
        target->sortCriteria = criteria;
    }
    if (!compare) return LX_S_OK;
    /* A narrower source slot would be read past its end. */
    if (source->itemSize < target->itemSize) return LX_E_INVALIDARG;
    for (LONG i = 0; i < source->count; i++) {
        LONG at = LxList_FindSortedInsertIndexRange(target, ItemAt(source, i), 0, -1, compare);
        /* A heap target refuses the slot; the walk goes on regardless. */
        LxList_InsertList(target, at, SlotAt(source, i), 1);
    }
    return LX_S_OK;
}
