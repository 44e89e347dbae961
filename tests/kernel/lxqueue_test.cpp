// tLXQHEAD: order, finds and moves, the event, dead heads, and threads.
#include "kernel/lxqueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Item {
    tLXQELM link;
    int key;
    char id;
};

Item *AsItem(tLXQELM *e) { return reinterpret_cast<Item *>(e); }
BOOL LXCALLBACK MatchKey(tLXQELM *e, void *data) { return AsItem(e)->key == *(int *)data; }

struct Queue {
    tLXQHEAD head = {};
    Queue() { EXPECT_TRUE(LxQueueInitialize(&head)); }
    ~Queue() { LxQueueDelete(&head); }
    tLXQHEAD *get() { return &head; }
    bool signalled() { return WaitForSingleObject(head.event, 0) == WAIT_OBJECT_0; }
};

// Ids front to back, '+' if the event is set; the prev chain must agree.
std::string State(Queue &q) {
    std::string fwd, back;
    tLXQELM *end = reinterpret_cast<tLXQELM *>(q.get());
    for (tLXQELM *e = q.head.next; e != end && fwd.size() < 100; e = e->next) fwd += AsItem(e)->id;
    for (tLXQELM *e = q.head.prev; e != end && back.size() < 100; e = e->prev)
        back = AsItem(e)->id + back;
    EXPECT_EQ(fwd, back) << "prev chain disagrees with next chain";
    return fwd + (q.signalled() ? "+" : "");
}

// The id of a removed element, whose links must be cleared; '-' for none.
char Id(tLXQELM *e) {
    if (!e) return '-';
    EXPECT_TRUE(e->next == nullptr && e->prev == nullptr) << "links left on " << AsItem(e)->id;
    return AsItem(e)->id;
}

// Every removal that empties the queue must reset the event. A head read
// through an element pointer went wrong here at -O2: the optimiser kept the
// old head->next and never reset.
TEST(LxQueue, OrderFindsMovesAndEvent) {
    Queue q, other;
    Item it[] = {{{}, 1, 'a'}, {{}, 2, 'b'}, {{}, 1, 'c'}, {{}, 4, 'd'}};
    tLXQELM *a = &it[0].link, *b = &it[1].link, *c = &it[2].link, *d = &it[3].link;
    int one = 1;
    EXPECT_EQ('-', Id(LxQueueRemove(q.get(), 0)));
    LxQueueInsert(other.get(), d);
    LxQueueInsert(q.get(), a);
    LxQueueInsert(q.get(), b);
    LxQueueInsertHead(q.get(), c);
    EXPECT_EQ("cab+", State(q));
    EXPECT_FALSE(IsInLxQueue(q.get(), d));        // another queue's
    EXPECT_FALSE(LxQueueMoveToHead(q.get(), d));
    EXPECT_FALSE(LxQueueMoveToHead(q.get(), c));  // at that end already
    EXPECT_TRUE(LxQueueMoveToHead(q.get(), b));
    EXPECT_TRUE(LxQueueMoveToTail(q.get(), c));
    EXPECT_EQ("bac+", State(q));
    EXPECT_EQ('a', Id(LxQueueFindAndRemove(q.get(), MatchKey, &one)));
    EXPECT_FALSE(IsInLxQueue(q.get(), a));
    LxQueueInsertHead(q.get(), a);
    EXPECT_EQ('c', Id(LxQueueFindAndRemoveRev(q.get(), MatchKey, &one)));
    EXPECT_EQ('b', Id(LxQueueRemoveTail(q.get(), 0)));
    EXPECT_EQ("a+", State(q));
    for (int way = 0; way < 4; way++) {
        if (way) LxQueueInsert(q.get(), a);
        tLXQELM *e = way == 0   ? LxQueueRemove(q.get(), 0)
                     : way == 1 ? LxQueueRemoveTail(q.get(), 0)
                     : way == 2 ? LxQueueFindAndRemove(q.get(), MatchKey, &one)
                                : LxQueueFindAndRemoveRev(q.get(), MatchKey, &one);
        EXPECT_EQ('a', Id(e)) << way;
        EXPECT_EQ("", State(q)) << way;
    }
    EXPECT_FALSE(LxQueueMoveToTail(q.get(), a));
    // A flush leaves the event set on the empty queue and the links as they were.
    LxQueueInsert(q.get(), a);
    LxQueueInsert(q.get(), b);
    LxQueueFlush(q.get());
    EXPECT_EQ("+", State(q));
    EXPECT_EQ(b, a->next);
    EXPECT_FALSE(IsInLxQueue(q.get(), b));
}

// Null heads and heads without an event (never initialised, or deleted) are
// answered at once, and a long time-out doesn't wait.
TEST(LxQueue, DeadHeadsAndNullArguments) {
    tLXQHEAD zeroed = {}, deleted = {};
    ASSERT_TRUE(LxQueueInitialize(&deleted));
    LxQueueDelete(&deleted);
    Item a{{}, 0, 'a'};
    DWORD t0 = GetTickCount();
    for (tLXQHEAD *h : {(tLXQHEAD *)nullptr, &zeroed, &deleted}) {
        LxQueueInsert(h, &a.link);
        EXPECT_EQ(nullptr, LxQueueRemoveTail(h, 5000));
        EXPECT_FALSE(LxQueueWait(h, 5000));
        EXPECT_EQ(nullptr, LxQueueFindAndRemove(h, MatchKey, &a.key));
        EXPECT_FALSE(LxQueueMoveToHead(h, &a.link));
        LxQueueFlush(h);
        LxQueueDelete(h);
    }
    EXPECT_LT(GetTickCount() - t0, 2000u);
    Queue q;
    LxQueueInsert(q.get(), nullptr);
    EXPECT_EQ(nullptr, LxQueueFindAndRemoveRev(q.get(), nullptr, nullptr));
}

// Producers and consumers at both ends lose and double nothing; a flush
// wakes a blocked wait with nothing; a delete releases a waiter.
TEST(LxQueue, AcrossThreads) {
    const int kTotal = 100000;
    Queue q;
    std::vector<Item> items(kTotal);
    std::vector<std::atomic<int>> taken(kTotal);
    std::atomic<int> consumed{0};
    std::vector<std::thread> threads;
    for (int p = 0; p < 4; p++) {
        threads.emplace_back([&, p] {
            for (int i = p; i < kTotal; i += 4) {
                items[i].key = i;
                (p % 2 ? LxQueueInsert : LxQueueInsertHead)(q.get(), &items[i].link);
            }
        });
        threads.emplace_back([&, p] {
            for (DWORD t0 = GetTickCount(); consumed < kTotal && GetTickCount() - t0 < 30000;) {
                if (tLXQELM *e = (p % 2 ? LxQueueRemoveTail : LxQueueRemove)(q.get(), 20)) {
                    taken[AsItem(e)->key]++;
                    consumed++;
                }
            }
        });
    }
    for (auto &t : threads) t.join();
    int wrong = 0;
    for (auto &n : taken) wrong += n != 1;
    EXPECT_EQ(0, wrong) << "items lost or taken twice";
    EXPECT_EQ("", State(q));

    BOOL waited = TRUE;
    std::thread flushed([&] { waited = LxQueueWait(q.get(), 20000); });
    Sleep(100);
    LxQueueFlush(q.get());
    flushed.join();
    EXPECT_FALSE(waited);
    EXPECT_EQ(nullptr, LxQueueRemove(q.get(), 20000));  // the flush lets it through at once
    LxQueueInsert(q.get(), &items[0].link);
    EXPECT_EQ(&items[0].link, LxQueueRemove(q.get(), 0));  // resets the event the flush set
    std::atomic<bool> released{false};
    std::thread waiter([&] { released = !LxQueueRemoveTail(q.get(), INFINITE); });
    Sleep(200);
    EXPECT_FALSE(released);
    LxQueueDelete(q.get());
    for (int i = 0; i < 1000 && !released; i++) Sleep(10);
    EXPECT_TRUE(released) << "the waiter stayed blocked after delete";
    released ? waiter.join() : waiter.detach();
}

}  // namespace
