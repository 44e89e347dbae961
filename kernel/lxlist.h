/*
 * tLXLIST: the Kernel's one growable container. A single table of
 * fixed-width slots in plain (32-bit values), heap (owned items) or array
 * (items in the slots) form, with an optional lock and a bisection search
 * family over a caller's comparison. count, itemSize and items are public.
 */
#ifndef LXLIST_H
#define LXLIST_H

#include "lxbase.h"

#define LXLIST_HEAP        0x00000002u
#define LXLIST_ARRAY       0x00000004u
#define LXLIST_PLACED      0x00000008u
#define LXLIST_PRIVATEHEAP 0x10000000u
#define LXLIST_ANYTHREAD   0x40000000u
#define LXLIST_THREADSAFE  0x80000000u

#define LXLIST_TAG 0x54525543u /* "CURT" in memory */

typedef struct tLXLIST {
    LONG count;
    LONG itemSize;
    void *items;
    CRITICAL_SECTION lock;
    DWORD tag;
    DWORD options;
    LONG userData;
    DWORD sortCriteria;
    DWORD threadOwner;
    LONG allocated;
    LONG growBy;
    HANDLE heap;
    DWORD heapAllocFlags;
    DWORD heapFlags;
    void *pendingItem;
} tLXLIST;

/* Sorted comparison: <0, 0, >0 for first against second. */
typedef int (LXCALLBACK *LXLIST_COMPARE)(DWORD criteria, const void *first, const void *second);
/* Match callback of LxList_FindItemRange: 0 for a match. */
typedef int (LXCALLBACK *LXLIST_MATCH)(void *data, const void *item);

LXEXPORT(HRESULT) LxList_CreateExZ(tLXLIST **ppList, LONG itemSize, LONG initialCapacity,
                                   LONG growBy, DWORD options, DWORD reserved1,
                                   DWORD reserved2, DWORD reserved3);
LXEXPORT(HRESULT) LxList_Destroy(tLXLIST *list);
LXEXPORT(BOOL) LxList_IsList(const void *p, LONG size);
LXEXPORT(BOOL) LxList_IsListFast(const tLXLIST *list);
LXEXPORT(BOOL) LxList_IsValidIndexSlow(tLXLIST *list, LONG index);
LXEXPORT(LONG) LxList_SetUserData(tLXLIST *list, LONG value);
LXEXPORT(LONG) LxList_GetUserData(tLXLIST *list);
LXEXPORT(DWORD) LxList_GetCreateOptions(tLXLIST *list);
LXEXPORT(DWORD) LxList_GetSortCriteria(tLXLIST *list);
LXEXPORT(DWORD) LxList_GetThreadOwner(tLXLIST *list);
LXEXPORT(HRESULT) LxList_SetThreadOwner(tLXLIST *list, DWORD threadId);
LXEXPORT(LONG) LxList_GetFileAndLine(tLXLIST *list, char *buffer, LONG size);
LXEXPORT(HRESULT) LxList_GrowAllocated(tLXLIST *list, LONG slots);
LXEXPORT(HRESULT) LxList_ShrinkAllocated(tLXLIST *list, LONG slots);
LXEXPORT(HRESULT) LxList_InsertList(tLXLIST *list, LONG index, const void *source, LONG count);
LXEXPORT(HRESULT) LxList_DeleteList(tLXLIST *list, LONG index, LONG count, BOOL shrink);
LXEXPORT(HRESULT) LxList_MoveRange(tLXLIST *list, LONG from, LONG to, LONG count);
LXEXPORT(HRESULT) LxList_ArrayForceItemCount(tLXLIST *list, LONG newCount, BOOL shrink);
LXEXPORT(HRESULT) LxList_AllocItem(tLXLIST *list, LONG size, void **ppItem);
LXEXPORT(HRESULT) LxList_AllocAndInsertItem(tLXLIST *list, const void *source, LONG size,
                                            LONG index, LONG *pIndex);
LXEXPORT(LONG) LxList_AllocSize(tLXLIST *list, LONG index);
LXEXPORT(HRESULT) LxList_ReAllocItem(tLXLIST *list, LONG index, LONG size);
LXEXPORT(HRESULT) LxList_MoveItemsBetweenHeapLists(tLXLIST *target, LONG targetIndex,
                                                   tLXLIST *source, LONG sourceIndex,
                                                   LONG count);
LXEXPORT(LONG) LxList_FindSpecificItemRange(tLXLIST *list, LONG start, LONG count,
                                            const void *item);
LXEXPORT(LONG) LxList_FindItemRange(tLXLIST *list, LONG start, LONG count, void *data,
                                    LXLIST_MATCH match);
LXEXPORT(LONG) LxList_FindSortedItemRange(tLXLIST *list, const void *key, LONG start,
                                          LONG count, LXLIST_COMPARE compare);
LXEXPORT(LONG) LxList_FindSortedInsertIndexRange(tLXLIST *list, const void *key, LONG start,
                                                 LONG count, LXLIST_COMPARE compare);
LXEXPORT(HRESULT) LxList_Sort(tLXLIST *list, DWORD criteria, LXLIST_COMPARE compare);
LXEXPORT(HRESULT) LxList_HeapSort(tLXLIST *list, DWORD criteria, LXLIST_COMPARE compare);
LXEXPORT(HRESULT) LxList_SortTo(tLXLIST *target, tLXLIST *source, DWORD criteria,
                                LXLIST_COMPARE compare);

#endif
