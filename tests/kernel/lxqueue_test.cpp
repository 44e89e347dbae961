// tLXQHEAD: order and event state through every transition, the empty test
// after the last element leaves, waits, flush, delete, guards and threads.
#include "kernel/lxqueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Item {
    tLXQELM link;
    int key;
    char id;
};

tLXQELM *L(Item &it) { return &it.link; }
Item *AsItem(tLXQELM *e) { return reinterpret_cast<Item *>(e); }
tLXQELM *SentinelOf(tLXQHEAD *h) { return reinterpret_cast<tLXQELM *>(h); }
bool Signalled(HANDLE ev) { return WaitForSingleObject(ev, 0) == WAIT_OBJECT_0; }
DWORD ElapsedMs(DWORD since) { return GetTickCount() - since; }
BOOL LXCALLBACK MatchKey(tLXQELM *e, void *data) { return AsItem(e)->key == *(int *)data; }
BOOL LXCALLBACK MatchAny(tLXQELM *, void *) { return TRUE; }

struct Queue {
    tLXQHEAD head;
    Queue() {
        memset(&head, 0, sizeof head);
        EXPECT_TRUE(LxQueueInitialize(&head));
    }
    ~Queue() { LxQueueDelete(&head); }
    tLXQHEAD *get() { return &head; }
};

// Ids from front to back; the backward chain must mirror the forward one.
std::string Contents(tLXQHEAD *h) {
    std::string fwd, back;
    for (tLXQELM *e = h->next; e != SentinelOf(h) && fwd.size() < 100; e = e->next)
        fwd += AsItem(e)->id;
    for (tLXQELM *e = h->prev; e != SentinelOf(h) && back.size() < 100; e = e->prev)
        back.insert(back.begin(), AsItem(e)->id);
    EXPECT_EQ(fwd, back) << "prev chain disagrees with next chain";
    return fwd;
}

TEST(LxQueue, ScriptOfTransitions) {
    Queue q, other;
    // a and c share key 1, so the two finds pick different ends.
    Item items[] = {{{}, 1, 'a'}, {{}, 2, 'b'}, {{}, 1, 'c'}, {{}, 4, 'd'}, {{}, 0, 'x'}};
    LxQueueInsert(other.get(), L(items[4]));  // 'x' has links, but in another queue
    enum Op { Ins, InsHead, Rem, RemTail, Find, FindRev, ToTail, ToHead, IsIn, Flush };
    struct Row {
        const char *name;
        Op op;
        const char *arg;  // ids to insert, move or test, or the key to find
        char result;      // id taken or '-' for null; '1' or '0' for a move or test
        const char *contents;
        bool signalled;
    } rows[] = {
        {"remove from empty", Rem, "", '-', "", false},
        {"insert into empty sets", Ins, "a", 0, "a", true},
        {"insert at tail", Ins, "b", 0, "ab", true},
        {"insert head", InsHead, "c", 0, "cab", true},
        {"member", IsIn, "a", '1', "cab", true},
        {"null links", IsIn, "d", '0', "cab", true},
        {"another queue's", IsIn, "x", '0', "cab", true},
        {"stranger to head", ToHead, "x", '0', "cab", true},
        {"remove takes first", Rem, "", 'c', "ab", true},
        {"removed is no member", IsIn, "c", '0', "ab", true},
        {"remove tail takes last", RemTail, "", 'b', "a", true},
        {"last one leaves: reset", Rem, "", 'a', "", false},
        {"refill", Ins, "abcd", 0, "abcd", true},
        {"head to head: no move", ToHead, "a", '0', "abcd", true},
        {"tail to tail: no move", ToTail, "d", '0', "abcd", true},
        {"middle to head", ToHead, "c", '1', "cabd", true},
        {"head to tail", ToTail, "c", '1', "abdc", true},
        {"last to head", ToHead, "c", '1', "cabd", true},
        {"find from front", Find, "1", 'c', "abd", true},
        {"find missing key", Find, "9", '-', "abd", true},
        {"refill c at tail", Ins, "c", 0, "abdc", true},
        {"find from back", FindRev, "1", 'c', "abd", true},
        {"find from back again", FindRev, "1", 'a', "bd", true},
        {"find b", Find, "2", 'b', "d", true},
        {"find last one: reset", FindRev, "4", 'd', "", false},
        {"move on empty", ToHead, "a", '0', "", false},
        {"refill for flush", Ins, "ab", 0, "ab", true},
        {"flush leaves the event set", Flush, "", 0, "", true},
        {"a flushed element is no member", IsIn, "b", '0', "", true},
        {"it goes in again", InsHead, "b", 0, "b", true},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        tLXQELM *got = nullptr;
        auto e = [&] { return L(items[r.arg[0] == 'x' ? 4 : r.arg[0] - 'a']); };
        int key = r.arg[0] - '0';
        char answer = 0;
        switch (r.op) {
            case Ins:
                for (const char *p = r.arg; *p; p++) LxQueueInsert(q.get(), L(items[*p - 'a']));
                break;
            case InsHead: LxQueueInsertHead(q.get(), e()); break;
            case Rem: got = LxQueueRemove(q.get(), 0); break;
            case RemTail: got = LxQueueRemoveTail(q.get(), 0); break;
            case Find: got = LxQueueFindAndRemove(q.get(), MatchKey, &key); break;
            case FindRev: got = LxQueueFindAndRemoveRev(q.get(), MatchKey, &key); break;
            case ToTail: answer = LxQueueMoveToTail(q.get(), e()) ? '1' : '0'; break;
            case ToHead: answer = LxQueueMoveToHead(q.get(), e()) ? '1' : '0'; break;
            case IsIn: answer = IsInLxQueue(q.get(), e()) ? '1' : '0'; break;
            case Flush: LxQueueFlush(q.get()); break;
        }
        if (r.op >= Rem && r.op <= FindRev) {
            answer = got ? AsItem(got)->id : '-';
            if (got) { EXPECT_TRUE(got->next == nullptr && got->prev == nullptr); }
        }
        EXPECT_EQ(r.result, answer);
        EXPECT_EQ(r.contents, Contents(q.get()));
        EXPECT_EQ(r.signalled, Signalled(q.head.event));
    }
    // A flush leaves the elements' links as they were.
    EXPECT_EQ(SentinelOf(q.get()), items[0].link.prev);
    EXPECT_EQ(L(items[1]), items[0].link.next);
    EXPECT_EQ("x", Contents(other.get()));
}

// Every way out of a one- and a two-element queue must leave the head empty
// and the event reset. A head read through an element pointer went wrong
// here at -O2: the optimiser kept the old head->next and never reset.
TEST(LxQueue, EmptyingRemovalResetsEvent) {
    tLXQELM *(*takes[])(tLXQHEAD *) = {
        [](tLXQHEAD *h) { return LxQueueRemove(h, 0); },
        [](tLXQHEAD *h) { return LxQueueRemoveTail(h, 0); },
        [](tLXQHEAD *h) { return LxQueueFindAndRemove(h, MatchAny, nullptr); },
        [](tLXQHEAD *h) { return LxQueueFindAndRemoveRev(h, MatchAny, nullptr); },
    };
    for (int way = 0; way < 4; way++) {
        for (int n = 1; n <= 2; n++) {
            SCOPED_TRACE(testing::Message() << "way " << way << " of " << n);
            Queue q;
            Item it[2] = {{{}, 0, 'x'}, {{}, 0, 'y'}};
            for (int i = 0; i < n; i++) LxQueueInsert(q.get(), L(it[i]));
            for (int i = 0; i < n; i++) {
                ASSERT_NE(nullptr, takes[way](q.get()));
                EXPECT_EQ(i + 1 < n, Signalled(q.head.event)) << "after removal " << i + 1;
            }
            EXPECT_EQ("", Contents(q.get()));
            EXPECT_FALSE(LxQueueWait(q.get(), 0));
            EXPECT_EQ(nullptr, LxQueueRemove(q.get(), 0));
        }
    }
}

// Null heads and heads without an event (never initialised, or deleted) are
// answered at once without touching the lock.
TEST(LxQueue, LifecycleAndGuards) {
    tLXQHEAD dead, deleted;
    memset(&dead, 0, sizeof dead);
    memset(&deleted, 0, sizeof deleted);
    ASSERT_TRUE(LxQueueInitialize(&deleted));
    EXPECT_FALSE(Signalled(deleted.event));
    Item a{{}, 0, 'a'};
    LxQueueInsert(&deleted, L(a));
    HANDLE ev = deleted.event;
    // A head that has its event keeps it; only the links start over.
    EXPECT_TRUE(LxQueueInitialize(&deleted));
    EXPECT_EQ(ev, deleted.event);
    EXPECT_TRUE(Signalled(deleted.event));
    EXPECT_EQ("", Contents(&deleted));
    LxQueueDelete(&deleted);
    EXPECT_EQ(nullptr, deleted.event);
    EXPECT_EQ("", Contents(&deleted));
    for (tLXQHEAD *h : {(tLXQHEAD *)nullptr, &dead, &deleted}) {
        SCOPED_TRACE(h == nullptr ? "null" : h == &dead ? "zeroed" : "deleted");
        a.link.next = a.link.prev = nullptr;
        LxQueueInsert(h, L(a));
        LxQueueInsertHead(h, L(a));
        EXPECT_EQ(nullptr, a.link.next);
        DWORD t0 = GetTickCount();
        EXPECT_EQ(nullptr, LxQueueRemove(h, 5000));
        EXPECT_EQ(nullptr, LxQueueRemoveTail(h, 5000));
        EXPECT_FALSE(LxQueueWait(h, 5000));
        EXPECT_LT(ElapsedMs(t0), 2000u);
        EXPECT_EQ(nullptr, LxQueueFindAndRemove(h, MatchAny, nullptr));
        EXPECT_EQ(nullptr, LxQueueFindAndRemoveRev(h, MatchAny, nullptr));
        EXPECT_FALSE(IsInLxQueue(h, L(a)));
        EXPECT_FALSE(LxQueueMoveToHead(h, L(a)));
        EXPECT_FALSE(LxQueueMoveToTail(h, L(a)));
        LxQueueFlush(h);
        LxQueueDelete(h);  // a second delete does nothing
    }
    EXPECT_FALSE(LxQueueInitialize(nullptr));

    Queue q;
    LxQueueInsert(q.get(), nullptr);
    LxQueueInsertHead(q.get(), nullptr);
    EXPECT_FALSE(Signalled(q.head.event));
    LxQueueInsert(q.get(), L(a));
    EXPECT_EQ(nullptr, LxQueueFindAndRemove(q.get(), nullptr, nullptr));
    EXPECT_EQ(nullptr, LxQueueFindAndRemoveRev(q.get(), nullptr, nullptr));
    EXPECT_FALSE(IsInLxQueue(q.get(), nullptr));
    EXPECT_FALSE(LxQueueMoveToHead(q.get(), nullptr));
    EXPECT_EQ("a", Contents(q.get()));
}

TEST(LxQueue, DeleteReleasesEveryWaiter) {
    tLXQHEAD h;
    memset(&h, 0, sizeof h);
    ASSERT_TRUE(LxQueueInitialize(&h));
    const int kWaiters = 3;
    std::atomic<int> returned{0}, gotSomething{0};
    std::vector<std::thread> waiters;
    for (int i = 0; i < kWaiters; i++) {
        waiters.emplace_back([&, i] {
            gotSomething += ((i % 2) ? LxQueueRemoveTail : LxQueueRemove)(&h, INFINITE) != nullptr;
            returned++;
        });
    }
    Sleep(200);  // let them reach the wait
    EXPECT_EQ(0, returned.load());
    DWORD t0 = GetTickCount();
    LxQueueDelete(&h);
    while (returned.load() < kWaiters && ElapsedMs(t0) < 10000) Sleep(5);
    EXPECT_EQ(kWaiters, returned.load()) << "a waiter stayed blocked after delete";
    EXPECT_EQ(0, gotSomething.load());
    for (auto &t : waiters) returned.load() == kWaiters ? t.join() : t.detach();
}

// A flush leaves the event set on an empty queue: waits end at once with
// nothing, until an emptying removal resets it.
TEST(LxQueue, WaitersSeeInsertsAndFlushes) {
    Queue q;
    Item a{{}, 0, 'a'}, b{{}, 0, 'b'};
    LxQueueInsert(q.get(), L(a));
    LxQueueFlush(q.get());
    DWORD t0 = GetTickCount();
    EXPECT_FALSE(LxQueueWait(q.get(), 20000));
    EXPECT_EQ(nullptr, LxQueueRemove(q.get(), 20000));
    EXPECT_EQ(nullptr, LxQueueRemoveTail(q.get(), 20000));
    EXPECT_LT(ElapsedMs(t0), 5000u);
    LxQueueInsert(q.get(), L(a));
    EXPECT_TRUE(LxQueueWait(q.get(), 0));
    EXPECT_EQ(L(a), LxQueueRemove(q.get(), 0));
    // The reset event makes waits on the empty queue last their time-out again.
    for (int i = 0; i < 2; i++) {
        t0 = GetTickCount();
        EXPECT_FALSE(i ? LxQueueRemoveTail(q.get(), 120) != nullptr : LxQueueWait(q.get(), 120));
        EXPECT_GE(ElapsedMs(t0), 60u) << "returned without waiting, " << i;
    }
    // A thread blocked on the queue takes what another inserts, and a flush
    // from another thread lets it go with nothing.
    BOOL seen = FALSE, waited = TRUE;
    tLXQELM *got = nullptr, *removed = L(a);
    std::thread waiter([&] {
        seen = LxQueueWait(q.get(), 20000);
        got = LxQueueRemove(q.get(), 20000);
        waited = LxQueueWait(q.get(), 20000);
        removed = LxQueueRemove(q.get(), 20000);
    });
    Sleep(100);
    LxQueueInsert(q.get(), L(b));
    for (int i = 0; i < 5000 && Signalled(q.head.event); i++) Sleep(1);
    EXPECT_FALSE(Signalled(q.head.event));  // the waiter's removal reset it
    Sleep(100);
    t0 = GetTickCount();
    LxQueueFlush(q.get());
    waiter.join();
    EXPECT_LT(ElapsedMs(t0), 5000u);
    EXPECT_TRUE(seen);
    EXPECT_EQ(L(b), got);
    EXPECT_FALSE(waited);
    EXPECT_EQ(nullptr, removed);
}

BOOL LXCALLBACK MatchEvenKey(tLXQELM *e, void *) { return (AsItem(e)->key & 1) == 0; }

TEST(LxQueue, ProducersAndConsumersLoseAndDuplicateNothing) {
    const int kProducers = 4, kConsumers = 4, kEach = 25000, kTotal = kProducers * kEach;
    Queue q;
    std::vector<Item> items(kTotal);
    for (int i = 0; i < kTotal; i++) items[i].key = i;
    std::vector<std::atomic<int>> taken(kTotal);
    std::atomic<int> consumed{0};
    const DWORD start = GetTickCount(), kDeadlineMs = 30000;
    std::vector<std::thread> threads;
    for (int p = 0; p < kProducers; p++) {
        threads.emplace_back([&, p] {
            for (int i = p * kEach; i < (p + 1) * kEach; i++)
                (i % 3 ? LxQueueInsert : LxQueueInsertHead)(q.get(), L(items[i]));
        });
    }
    for (int c = 0; c < kConsumers; c++) {
        threads.emplace_back([&, c] {
            while (consumed.load() < kTotal && ElapsedMs(start) < kDeadlineMs) {
                tLXQELM *e = c == 0   ? LxQueueRemove(q.get(), 20)
                             : c == 1 ? LxQueueRemoveTail(q.get(), 20)
                             : c == 2 ? LxQueueFindAndRemove(q.get(), MatchEvenKey, nullptr)
                                      : LxQueueFindAndRemoveRev(q.get(), MatchAny, nullptr);
                if (!e && c >= 2) LxQueueWait(q.get(), 20);
                if (!e) continue;
                int k = AsItem(e)->key;
                if (k >= 0 && k < kTotal) taken[k]++;
                consumed++;
            }
        });
    }
    for (auto &t : threads) t.join();
    EXPECT_EQ(kTotal, consumed.load());
    int lost = 0, doubled = 0;
    for (auto &n : taken) {
        lost += n == 0;
        doubled += n > 1;
    }
    EXPECT_EQ(0, lost);
    EXPECT_EQ(0, doubled);
    EXPECT_EQ("", Contents(q.get()));
    EXPECT_FALSE(Signalled(q.head.event));
}

}  // namespace
