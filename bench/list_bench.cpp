// Sorted insert and sorted find on a plain list of DWORD keys, the way the
// Kernel's tables are kept in order.
#include "kernel/lxlist.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

int LXCALLBACK CompareKeys(DWORD, const void *a, const void *b) {
    DWORD x = (DWORD)(uintptr_t)a, y = (DWORD)(uintptr_t)b;
    return x < y ? -1 : x > y ? 1 : 0;
}

std::vector<DWORD> RandomKeys(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<DWORD> keys(n);
    for (DWORD &k : keys) k = rng();
    return keys;
}

tLXLIST *NewList() {
    tLXLIST *list = nullptr;
    LxList_CreateExZ(&list, 4, 64, 64, 0, 0, 0, 0);
    return list;
}

// Builds a sorted list of N random keys, one find-and-insert per key.
void BM_SortedInsert(benchmark::State &state) {
    const size_t n = (size_t)state.range(0);
    const std::vector<DWORD> keys = RandomKeys(n, 1);
    for (auto _ : state) {
        tLXLIST *list = NewList();
        if (!list) {
            state.SkipWithError("list creation failed");
            return;
        }
        for (DWORD k : keys) {
            const void *key = (const void *)(uintptr_t)k;
            LONG at = LxList_FindSortedInsertIndexRange(list, key, 0, -1, CompareKeys);
            LxList_InsertList(list, at, &k, 1);
        }
        benchmark::DoNotOptimize(list->items);
        LxList_Destroy(list);
    }
    state.SetItemsProcessed((int64_t)state.iterations() * (int64_t)n);
}

// Looks up keys in a sorted list of N: half present, half absent.
void BM_FindSorted(benchmark::State &state) {
    const size_t n = (size_t)state.range(0);
    std::vector<DWORD> keys = RandomKeys(n, 2);
    tLXLIST *list = NewList();
    if (!list) {
        state.SkipWithError("list creation failed");
        return;
    }
    LxList_InsertList(list, -1, keys.data(), (LONG)n);
    LxList_HeapSort(list, 0, CompareKeys);
    const std::vector<DWORD> absent = RandomKeys(n, 3);
    size_t i = 0;
    for (auto _ : state) {
        DWORD k = (i & 1) ? absent[i % n] : keys[i % n];
        benchmark::DoNotOptimize(
            LxList_FindSortedItemRange(list, (const void *)(uintptr_t)k, 0, -1, CompareKeys));
        i++;
    }
    state.SetItemsProcessed((int64_t)state.iterations());
    LxList_Destroy(list);
}

}  // namespace

BENCHMARK(BM_SortedInsert)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindSorted)->Arg(1000)->Arg(100000);
