// White-box tests of tLXQHEAD: order and event state through every
// transition, the empty test after the last element leaves (the head must
// not be reached through an element pointer), waits, flush, delete, the
// guards, and many threads handing items through one queue.
#include "kernel/lxqueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
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

// A zeroed, initialised head that deletes itself.
struct Queue {
    tLXQHEAD head;
    Queue() {
        memset(&head, 0, sizeof head);
        EXPECT_TRUE(LxQueueInitialize(&head));
    }
    ~Queue() { LxQueueDelete(&head); }
    tLXQHEAD *get() { return &head; }
};

bool Signalled(HANDLE ev) { return WaitForSingleObject(ev, 0) == WAIT_OBJECT_0; }

// Ids from front to back; the backward chain must mirror the forward one.
std::string Contents(tLXQHEAD *h) {
    std::string fwd, back;
    for (tLXQELM *e = h->next; e != SentinelOf(h) && fwd.size() < 100; e = e->next) fwd += AsItem(e)->id;
    for (tLXQELM *e = h->prev; e != SentinelOf(h) && back.size() < 100; e = e->prev)
        back.insert(back.begin(), AsItem(e)->id);
    EXPECT_EQ(fwd, back) << "prev chain disagrees with next chain";
    return fwd;
}

BOOL LXCALLBACK MatchKey(tLXQELM *e, void *data) { return AsItem(e)->key == *(int *)data; }
BOOL LXCALLBACK MatchAny(tLXQELM *, void *) { return TRUE; }

DWORD ElapsedMs(DWORD since) { return GetTickCount() - since; }

// ---- Order and event through a script of operations ----------------------------------

TEST(LxQueue, ScriptOfTransitions) {
    Queue q;
    // a and c share key 1, so the two finds pick different ends.
    Item a{{}, 1, 'a'}, b{{}, 2, 'b'}, c{{}, 1, 'c'}, d{{}, 4, 'd'};
    Item *items[] = {&a, &b, &c, &d};
    enum Op { Ins, InsHead, Rem, RemTail, Find, FindRev, ToTail, ToHead, Flush };
    struct Row {
        const char *name;
        Op op;
        int arg;        // item index, or key for the finds
        char result;    // id returned or '-' for null; for moves '1' or '0'
        const char *contents;
        bool signalled;
    } rows[] = {
        {"remove from empty", Rem, 0, '-', "", false},
        {"insert into empty sets", Ins, 0, 0, "a", true},
        {"insert at tail", Ins, 1, 0, "ab", true},
        {"insert head", InsHead, 2, 0, "cab", true},
        {"remove takes first", Rem, 0, 'c', "ab", true},
        {"remove tail takes last", RemTail, 0, 'b', "a", true},
        {"last one leaves: reset", Rem, 0, 'a', "", false},
        {"insert head into empty sets", InsHead, 3, 0, "d", true},
        {"remove tail empties: reset", RemTail, 0, 'd', "", false},
        {"refill a", Ins, 0, 0, "a", true},
        {"refill b", Ins, 1, 0, "ab", true},
        {"refill c", Ins, 2, 0, "abc", true},
        {"refill d", Ins, 3, 0, "abcd", true},
        {"head to head: no move", ToHead, 0, '0', "abcd", true},
        {"tail to tail: no move", ToTail, 3, '0', "abcd", true},
        {"middle to head", ToHead, 2, '1', "cabd", true},
        {"head to tail", ToTail, 2, '1', "abdc", true},
        {"last to head", ToHead, 2, '1', "cabd", true},
        {"find from front", Find, 1, 'c', "abd", true},
        {"find missing key", Find, 9, '-', "abd", true},
        {"refill c at tail", Ins, 2, 0, "abdc", true},
        {"find from back", FindRev, 1, 'c', "abd", true},
        {"find from back again", FindRev, 1, 'a', "bd", true},
        {"find b", Find, 2, 'b', "d", true},
        {"find last one: reset", FindRev, 4, 'd', "", false},
        {"move on empty", ToHead, 0, '0', "", false},
        {"refill a for flush", Ins, 0, 0, "a", true},
        {"flush of non-empty keeps it set", Flush, 0, 0, "", true},
        {"removal after flush: still set", Rem, 0, '-', "", true},
        {"insert after flush", Ins, 1, 0, "b", true},
        {"emptying removal resets", Rem, 0, 'b', "", false},
        {"flush of empty sets", Flush, 0, 0, "", true},
    };
    for (const Row &r : rows) {
        SCOPED_TRACE(r.name);
        tLXQELM *got = nullptr;
        BOOL moved = FALSE;
        switch (r.op) {
            case Ins: LxQueueInsert(q.get(), L(*items[r.arg])); break;
            case InsHead: LxQueueInsertHead(q.get(), L(*items[r.arg])); break;
            case Rem: got = LxQueueRemove(q.get(), 0); break;
            case RemTail: got = LxQueueRemoveTail(q.get(), 0); break;
            case Find: got = LxQueueFindAndRemove(q.get(), MatchKey, (void *)&r.arg); break;
            case FindRev: got = LxQueueFindAndRemoveRev(q.get(), MatchKey, (void *)&r.arg); break;
            case ToTail: moved = LxQueueMoveToTail(q.get(), L(*items[r.arg])); break;
            case ToHead: moved = LxQueueMoveToHead(q.get(), L(*items[r.arg])); break;
            case Flush: LxQueueFlush(q.get()); break;
        }
        if (r.op == Rem || r.op == RemTail || r.op == Find || r.op == FindRev) {
            EXPECT_EQ(r.result, got ? AsItem(got)->id : '-');
            if (got) {
                EXPECT_EQ(nullptr, got->next);
                EXPECT_EQ(nullptr, got->prev);
            }
        }
        if (r.op == ToTail || r.op == ToHead) {
            EXPECT_EQ(r.result == '1', moved != FALSE);
        }
        EXPECT_EQ(r.contents, Contents(q.get()));
        EXPECT_EQ(r.signalled, Signalled(q.head.event));
    }
}

// Each way out of a one- and a two-element queue must leave the head empty
// and the event reset. This is where a head read through an element pointer
// went wrong at -O2: the optimiser kept the old head->next and never reset.
TEST(LxQueue, EmptyingRemovalResetsEvent) {
    struct Row {
        const char *name;
        tLXQELM *(*take)(tLXQHEAD *);
    } rows[] = {
        {"remove", [](tLXQHEAD *h) { return LxQueueRemove(h, 0); }},
        {"remove tail", [](tLXQHEAD *h) { return LxQueueRemoveTail(h, 0); }},
        {"find", [](tLXQHEAD *h) { return LxQueueFindAndRemove(h, MatchAny, nullptr); }},
        {"find rev", [](tLXQHEAD *h) { return LxQueueFindAndRemoveRev(h, MatchAny, nullptr); }},
    };
    for (const Row &r : rows) {
        for (int n = 1; n <= 2; n++) {
            SCOPED_TRACE(std::string(r.name) + " of " + std::to_string(n));
            Queue q;
            Item it[2] = {{{}, 0, 'x'}, {{}, 0, 'y'}};
            for (int i = 0; i < n; i++) LxQueueInsert(q.get(), L(it[i]));
            ASSERT_TRUE(Signalled(q.head.event));
            for (int i = 0; i < n; i++) {
                ASSERT_NE(nullptr, r.take(q.get()));
                EXPECT_EQ(i + 1 < n, Signalled(q.head.event)) << "after removal " << i + 1;
            }
            EXPECT_EQ(SentinelOf(q.get()), q.head.next);
            EXPECT_EQ(SentinelOf(q.get()), q.head.prev);
            EXPECT_FALSE(LxQueueWait(q.get(), 0));
            EXPECT_EQ(nullptr, LxQueueRemove(q.get(), 0));
        }
    }
}

TEST(LxQueue, InitializeAndReinitialize) {
    tLXQHEAD h;
    memset(&h, 0, sizeof h);
    ASSERT_TRUE(LxQueueInitialize(&h));
    ASSERT_NE(nullptr, h.event);
    EXPECT_FALSE(Signalled(h.event));
    EXPECT_EQ(SentinelOf(&h), h.next);
    EXPECT_EQ(SentinelOf(&h), h.prev);

    Item a{{}, 0, 'a'};
    LxQueueInsert(&h, L(a));
    HANDLE ev = h.event;
    // A head that has its event keeps it; only the links start over.
    EXPECT_TRUE(LxQueueInitialize(&h));
    EXPECT_EQ(ev, h.event);
    EXPECT_EQ(SentinelOf(&h), h.next);
    EXPECT_EQ(SentinelOf(&h), h.prev);
    EXPECT_TRUE(Signalled(h.event));

    LxQueueDelete(&h);
    EXPECT_EQ(nullptr, h.event);
    EXPECT_EQ(SentinelOf(&h), h.next);
    EXPECT_EQ(SentinelOf(&h), h.prev);
    LxQueueDelete(&h);  // a second delete does nothing
    EXPECT_EQ(nullptr, h.event);
}

// Null heads and heads without an event (never initialised, or deleted) are
// answered without touching the lock.
TEST(LxQueue, GuardsOnNullAndDeadHeads) {
    tLXQHEAD dead;
    memset(&dead, 0, sizeof dead);
    tLXQHEAD deleted;
    memset(&deleted, 0, sizeof deleted);
    ASSERT_TRUE(LxQueueInitialize(&deleted));
    LxQueueDelete(&deleted);
    tLXQHEAD *heads[] = {nullptr, &dead, &deleted};
    const char *names[] = {"null", "zeroed", "deleted"};
    for (int i = 0; i < 3; i++) {
        SCOPED_TRACE(names[i]);
        tLXQHEAD *h = heads[i];
        Item a{{}, 0, 'a'};
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
        LxQueueDelete(h);
    }
    EXPECT_FALSE(LxQueueInitialize(nullptr));

    Queue q;
    Item a{{}, 0, 'a'};
    LxQueueInsert(q.get(), nullptr);
    LxQueueInsertHead(q.get(), nullptr);
    EXPECT_EQ("", Contents(q.get()));
    EXPECT_FALSE(Signalled(q.head.event));
    LxQueueInsert(q.get(), L(a));
    EXPECT_EQ(nullptr, LxQueueFindAndRemove(q.get(), nullptr, nullptr));
    EXPECT_EQ(nullptr, LxQueueFindAndRemoveRev(q.get(), nullptr, nullptr));
    EXPECT_FALSE(IsInLxQueue(q.get(), nullptr));
    EXPECT_FALSE(LxQueueMoveToHead(q.get(), nullptr));
    EXPECT_EQ("a", Contents(q.get()));
}

TEST(LxQueue, MembershipAndMovesOfStrangers) {
    Queue q, other;
    Item a{{}, 0, 'a'}, b{{}, 0, 'b'}, c{{}, 0, 'c'}, x{{}, 0, 'x'};
    LxQueueInsert(q.get(), L(a));
    LxQueueInsert(q.get(), L(b));
    LxQueueInsert(other.get(), L(x));
    EXPECT_TRUE(IsInLxQueue(q.get(), L(a)));
    EXPECT_TRUE(IsInLxQueue(q.get(), L(b)));
    EXPECT_FALSE(IsInLxQueue(q.get(), L(x)));  // links set, but by another queue
    EXPECT_FALSE(IsInLxQueue(q.get(), L(c)));  // null links
    EXPECT_FALSE(LxQueueMoveToHead(q.get(), L(x)));
    EXPECT_FALSE(LxQueueMoveToTail(q.get(), L(x)));
    EXPECT_EQ("ab", Contents(q.get()));
    EXPECT_EQ("x", Contents(other.get()));

    ASSERT_EQ(L(a), LxQueueRemove(q.get(), 0));
    EXPECT_FALSE(IsInLxQueue(q.get(), L(a)));
    EXPECT_TRUE(IsInLxQueue(q.get(), L(b)));

    // A flush leaves the element's links as they were; it is in no queue.
    tLXQELM *bNext = b.link.next, *bPrev = b.link.prev;
    LxQueueFlush(q.get());
    EXPECT_EQ(bNext, b.link.next);
    EXPECT_EQ(bPrev, b.link.prev);
    EXPECT_NE(nullptr, b.link.next);
    EXPECT_FALSE(IsInLxQueue(q.get(), L(b)));
    // and it can go in again
    LxQueueInsert(q.get(), L(c));
    LxQueueInsertHead(q.get(), L(b));
    EXPECT_EQ("bc", Contents(q.get()));
}

// ---- Waiting ------------------------------------------------------------------------

TEST(LxQueue, RemoveWaitsOutItsTimeOutOnEmpty) {
    Queue q;
    const char *names[] = {"remove", "remove tail", "wait"};
    for (int i = 0; i < 3; i++) {
        SCOPED_TRACE(names[i]);
        DWORD t0 = GetTickCount();
        bool got = i == 0 ? LxQueueRemove(q.get(), 120) != nullptr
                 : i == 1 ? LxQueueRemoveTail(q.get(), 120) != nullptr
                          : LxQueueWait(q.get(), 120) != FALSE;
        DWORD ms = ElapsedMs(t0);
        EXPECT_FALSE(got);
        EXPECT_GE(ms, 60u) << "returned without waiting";
        EXPECT_LT(ms, 5000u);
    }
}

TEST(LxQueue, WaiterTakesWhatAnotherThreadInserts) {
    Queue q;
    Item a{{}, 0, 'a'};
    tLXQELM *got = nullptr;
    BOOL seen = FALSE;
    std::thread waiter([&] {
        seen = LxQueueWait(q.get(), 10000);
        got = LxQueueRemove(q.get(), 10000);
    });
    Sleep(50);
    LxQueueInsert(q.get(), L(a));
    waiter.join();
    EXPECT_TRUE(seen);
    EXPECT_EQ(L(a), got);
    EXPECT_FALSE(Signalled(q.head.event));
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
            tLXQELM *e = (i % 2) ? LxQueueRemoveTail(&h, INFINITE) : LxQueueRemove(&h, INFINITE);
            if (e) gotSomething++;
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
    if (returned.load() == kWaiters) {
        for (auto &t : waiters) t.join();
    } else {
        for (auto &t : waiters) t.detach();
    }
    EXPECT_EQ(nullptr, h.event);
}

// A flush leaves the event set on an empty queue: waits end at once with
// nothing, until an emptying removal resets it.
TEST(LxQueue, FlushIsSeenByWaiters) {
    Queue q;
    Item a{{}, 0, 'a'}, b{{}, 0, 'b'};
    LxQueueInsert(q.get(), L(a));
    LxQueueInsert(q.get(), L(b));
    LxQueueFlush(q.get());
    DWORD t0 = GetTickCount();
    EXPECT_FALSE(LxQueueWait(q.get(), 20000));
    EXPECT_FALSE(LxQueueWait(q.get(), 20000));
    EXPECT_EQ(nullptr, LxQueueRemove(q.get(), 20000));
    EXPECT_EQ(nullptr, LxQueueRemoveTail(q.get(), 20000));
    EXPECT_LT(ElapsedMs(t0), 5000u);
    EXPECT_TRUE(Signalled(q.head.event));

    LxQueueInsert(q.get(), L(a));
    EXPECT_TRUE(LxQueueWait(q.get(), 0));
    EXPECT_EQ(L(a), LxQueueRemove(q.get(), 0));
    EXPECT_FALSE(Signalled(q.head.event));
    t0 = GetTickCount();
    EXPECT_FALSE(LxQueueWait(q.get(), 100));
    EXPECT_GE(ElapsedMs(t0), 50u) << "the reset event should make Wait wait again";

    // A thread blocked on the empty queue is let go by a flush from another.
    BOOL waited = TRUE;
    tLXQELM *removed = L(b);
    std::thread waiter([&] {
        waited = LxQueueWait(q.get(), 20000);
        removed = LxQueueRemove(q.get(), 20000);
    });
    Sleep(100);
    t0 = GetTickCount();
    LxQueueFlush(q.get());
    waiter.join();
    EXPECT_LT(ElapsedMs(t0), 5000u);
    EXPECT_FALSE(waited);
    EXPECT_EQ(nullptr, removed);
}

// ---- Many threads -------------------------------------------------------------------

struct Token {
    tLXQELM link;
    int serial;
};

BOOL LXCALLBACK MatchEvenSerial(tLXQELM *e, void *) {
    return (reinterpret_cast<Token *>(e)->serial & 1) == 0;
}

TEST(LxQueue, ProducersAndConsumersLoseAndDuplicateNothing) {
    const int kProducers = 4, kConsumers = 4, kEach = 25000, kTotal = kProducers * kEach;
    Queue q;
    std::unique_ptr<Token[]> tokens(new Token[kTotal]);
    std::unique_ptr<std::atomic<int>[]> taken(new std::atomic<int>[kTotal]);
    for (int i = 0; i < kTotal; i++) {
        tokens[i] = Token{{nullptr, nullptr}, i};
        taken[i] = 0;
    }
    std::atomic<int> consumed{0};
    const DWORD start = GetTickCount(), kDeadlineMs = 30000;

    std::vector<std::thread> threads;
    for (int p = 0; p < kProducers; p++) {
        threads.emplace_back([&, p] {
            for (int i = p * kEach; i < (p + 1) * kEach; i++) {
                if (i % 3 == 0)
                    LxQueueInsertHead(q.get(), &tokens[i].link);
                else
                    LxQueueInsert(q.get(), &tokens[i].link);
            }
        });
    }
    for (int c = 0; c < kConsumers; c++) {
        threads.emplace_back([&, c] {
            while (consumed.load() < kTotal && ElapsedMs(start) < kDeadlineMs) {
                tLXQELM *e;
                switch (c) {
                    case 0: e = LxQueueRemove(q.get(), 20); break;
                    case 1: e = LxQueueRemoveTail(q.get(), 20); break;
                    case 2: e = LxQueueFindAndRemove(q.get(), MatchEvenSerial, nullptr); break;
                    default: e = LxQueueFindAndRemoveRev(q.get(), MatchAny, nullptr); break;
                }
                if (!e) {
                    if (c >= 2) LxQueueWait(q.get(), 20);
                    continue;
                }
                int s = reinterpret_cast<Token *>(e)->serial;
                if (s >= 0 && s < kTotal) taken[s]++;
                consumed++;
            }
        });
    }
    for (auto &t : threads) t.join();

    EXPECT_EQ(kTotal, consumed.load());
    int lost = 0, doubled = 0;
    for (int i = 0; i < kTotal; i++) {
        if (taken[i] == 0) lost++;
        if (taken[i] > 1) doubled++;
    }
    EXPECT_EQ(0, lost);
    EXPECT_EQ(0, doubled);
    EXPECT_EQ("", Contents(q.get()));
    EXPECT_FALSE(Signalled(q.head.event));
    EXPECT_LT(ElapsedMs(start), kDeadlineMs);
}

}  // namespace
