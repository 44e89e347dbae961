/*
 * tLXQHEAD: intrusive queue with a waiter's event.
 *
 * The head doubles as the sentinel, but it is never read or written through
 * a tLXQELM pointer: the sentinel's address is only compared, and a link
 * that lands on the head is written to the head's own fields. Reaching the
 * head's next through an element pointer lets the optimiser keep a stale
 * head->next across the write, and the empty test (and with it the event
 * reset) goes wrong.
 */
#include "lxqueue.h"

namespace {

inline tLXQELM *Sentinel(tLXQHEAD *head) { return reinterpret_cast<tLXQELM *>(head); }

/* next and event are read without the lock by LxQueueWait and by a waiter
   coming back from its wait. */
inline tLXQELM *First(tLXQHEAD *head) { return __atomic_load_n(&head->next, __ATOMIC_ACQUIRE); }
inline void SetFirst(tLXQHEAD *head, tLXQELM *e) { __atomic_store_n(&head->next, e, __ATOMIC_RELEASE); }
inline HANDLE EventOf(tLXQHEAD *head) { return __atomic_load_n(&head->event, __ATOMIC_ACQUIRE); }
inline bool IsEmpty(tLXQHEAD *head) { return First(head) == Sentinel(head); }

inline void SetNextOf(tLXQHEAD *head, tLXQELM *at, tLXQELM *e) {
    if (at == Sentinel(head))
        SetFirst(head, e);
    else
        at->next = e;
}

inline void SetPrevOf(tLXQHEAD *head, tLXQELM *at, tLXQELM *e) {
    if (at == Sentinel(head))
        head->prev = e;
    else
        at->prev = e;
}

void LinkBetween(tLXQHEAD *head, tLXQELM *e, tLXQELM *before, tLXQELM *after) {
    e->prev = before;
    e->next = after;
    SetNextOf(head, before, e);
    SetPrevOf(head, after, e);
}

void Unlink(tLXQHEAD *head, tLXQELM *e) {
    tLXQELM *before = e->prev, *after = e->next;
    SetNextOf(head, before, after);
    SetPrevOf(head, after, before);
    e->next = e->prev = nullptr;
}

void MakeEmpty(tLXQHEAD *head) {
    head->prev = Sentinel(head);
    SetFirst(head, Sentinel(head));
}

class Locked {
public:
    explicit Locked(tLXQHEAD *head) : lock_(&head->lock) { EnterCriticalSection(lock_); }
    ~Locked() { LeaveCriticalSection(lock_); }
    Locked(const Locked &) = delete;
    Locked &operator=(const Locked &) = delete;

private:
    CRITICAL_SECTION *lock_;
};

/* Unlinks e and resets the event if that emptied the queue. Lock held. */
void Take(tLXQHEAD *head, tLXQELM *e) {
    Unlink(head, e);
    if (IsEmpty(head)) {
        HANDLE ev = EventOf(head);
        if (ev) ResetEvent(ev);
    }
}

void Insert(tLXQHEAD *head, tLXQELM *e, bool atHead) {
    if (!head || !e || !EventOf(head)) return;
    Locked hold(head);
    bool wasEmpty = IsEmpty(head);
    if (atHead)
        LinkBetween(head, e, Sentinel(head), head->next);
    else
        LinkBetween(head, e, head->prev, Sentinel(head));
    if (wasEmpty) {
        HANDLE ev = EventOf(head);
        if (ev) SetEvent(ev);
    }
}

tLXQELM *Remove(tLXQHEAD *head, DWORD timeoutMs, bool fromTail) {
    if (!head || !EventOf(head)) return nullptr;
    EnterCriticalSection(&head->lock);
    if (IsEmpty(head)) {
        HANDLE ev = EventOf(head);
        if (timeoutMs != 0 && ev) {
            LeaveCriticalSection(&head->lock);
            WaitForSingleObject(ev, timeoutMs);
            /* Deleted while we waited: the lock is gone, leave it alone. */
            if (!EventOf(head)) return nullptr;
            EnterCriticalSection(&head->lock);
        }
        if (IsEmpty(head)) {
            LeaveCriticalSection(&head->lock);
            return nullptr;
        }
    }
    tLXQELM *e = fromTail ? head->prev : head->next;
    Take(head, e);
    LeaveCriticalSection(&head->lock);
    return e;
}

tLXQELM *FindAndRemove(tLXQHEAD *head, LXQUEUE_MATCH match, void *data, bool fromTail) {
    if (!head || !match || !EventOf(head)) return nullptr;
    Locked hold(head);
    tLXQELM *end = Sentinel(head);
    for (tLXQELM *e = fromTail ? head->prev : head->next; e != end; e = fromTail ? e->prev : e->next) {
        if (match(e, data)) {
            Take(head, e);
            return e;
        }
    }
    return nullptr;
}

BOOL MoveToEnd(tLXQHEAD *head, tLXQELM *e, bool toTail) {
    if (!head || !e || !EventOf(head)) return FALSE;
    Locked hold(head);
    tLXQELM *end = Sentinel(head);
    tLXQELM *at = toTail ? head->prev : head->next;
    if (IsEmpty(head) || at == e) return FALSE;
    tLXQELM *x = at;
    while (x != end && x != e) x = toTail ? x->prev : x->next;
    if (x == end) return FALSE;
    Unlink(head, e);
    if (toTail)
        LinkBetween(head, e, head->prev, end);
    else
        LinkBetween(head, e, end, head->next);
    return TRUE;
}

}  // namespace

LXEXPORT(BOOL) LxQueueInitialize(tLXQHEAD *head) {
    if (!head) return FALSE;
    if (EventOf(head)) {
        Locked hold(head);
        MakeEmpty(head);
        return TRUE;
    }
    HANDLE ev = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (!ev) return FALSE;
    InitializeCriticalSection(&head->lock);
    MakeEmpty(head);
    __atomic_store_n(&head->event, ev, __ATOMIC_RELEASE);
    return TRUE;
}

LXEXPORT(void) LxQueueDelete(tLXQHEAD *head) {
    if (!head) return;
    HANDLE ev = __atomic_exchange_n(&head->event, (HANDLE) nullptr, __ATOMIC_ACQ_REL);
    if (!ev) return;
    /* Waiters wake, find the null and leave without the lock. */
    SetEvent(ev);
    CloseHandle(ev);
    EnterCriticalSection(&head->lock);
    LeaveCriticalSection(&head->lock);
    MakeEmpty(head);
    DeleteCriticalSection(&head->lock);
}

/* The event stays set on the empty queue: every waiter is let through until
   a removal empties the queue again, which is how a consumer sees a flush. */
LXEXPORT(void) LxQueueFlush(tLXQHEAD *head) {
    if (!head || !EventOf(head)) return;
    Locked hold(head);
    MakeEmpty(head);
    HANDLE ev = EventOf(head);
    if (ev) SetEvent(ev);
}

LXEXPORT(void) LxQueueInsert(tLXQHEAD *head, tLXQELM *element) { Insert(head, element, false); }

LXEXPORT(void) LxQueueInsertHead(tLXQHEAD *head, tLXQELM *element) { Insert(head, element, true); }

LXEXPORT(tLXQELM *) LxQueueRemove(tLXQHEAD *head, DWORD timeoutMs) {
    return Remove(head, timeoutMs, false);
}

LXEXPORT(tLXQELM *) LxQueueRemoveTail(tLXQHEAD *head, DWORD timeoutMs) {
    return Remove(head, timeoutMs, true);
}

LXEXPORT(BOOL) LxQueueWait(tLXQHEAD *head, DWORD timeoutMs) {
    if (!head) return FALSE;
    HANDLE ev = EventOf(head);
    if (!ev) return FALSE;
    if (!IsEmpty(head)) return TRUE;
    if (timeoutMs == 0) return FALSE;
    WaitForSingleObject(ev, timeoutMs);
    return EventOf(head) && !IsEmpty(head);
}

LXEXPORT(tLXQELM *) LxQueueFindAndRemove(tLXQHEAD *head, LXQUEUE_MATCH match, void *data) {
    return FindAndRemove(head, match, data, false);
}

LXEXPORT(tLXQELM *) LxQueueFindAndRemoveRev(tLXQHEAD *head, LXQUEUE_MATCH match, void *data) {
    return FindAndRemove(head, match, data, true);
}

LXEXPORT(BOOL) IsInLxQueue(tLXQHEAD *head, tLXQELM *element) {
    if (!head || !element || !element->next || !element->prev) return FALSE;
    if (!EventOf(head)) return FALSE;
    Locked hold(head);
    for (tLXQELM *e = head->next; e != Sentinel(head); e = e->next)
        if (e == element) return TRUE;
    return FALSE;
}

LXEXPORT(BOOL) LxQueueMoveToTail(tLXQHEAD *head, tLXQELM *element) {
    return MoveToEnd(head, element, true);
}

LXEXPORT(BOOL) LxQueueMoveToHead(tLXQHEAD *head, tLXQELM *element) {
    return MoveToEnd(head, element, false);
}
