/*
 * tLXQHEAD: an intrusive, lock-protected, doubly linked queue with a
 * manual-reset event for waiters. Elements are the caller's memory and begin
 * with a tLXQELM; nothing is allocated after LxQueueInitialize.
 */
#ifndef LXQUEUE_H
#define LXQUEUE_H

#include "lxbase.h"

/* Both links are null while the element is in no queue (a flush leaves them
   as they were). */
typedef struct tLXQELM {
    struct tLXQELM *next;
    struct tLXQELM *prev;
} tLXQELM;

/* The head is its own sentinel: next and prev hold the head's address when
   the queue is empty. Zero the head before its first LxQueueInitialize;
   event is null until then and after LxQueueDelete. */
typedef struct tLXQHEAD {
    tLXQELM *next;
    tLXQELM *prev;
    CRITICAL_SECTION lock;
    HANDLE event;
} tLXQHEAD;

/* Called under the queue's lock: non-zero for a match. */
typedef BOOL (LXCALLBACK *LXQUEUE_MATCH)(tLXQELM *element, void *data);

LXEXPORT(BOOL) LxQueueInitialize(tLXQHEAD *head);
LXEXPORT(void) LxQueueDelete(tLXQHEAD *head);
LXEXPORT(void) LxQueueFlush(tLXQHEAD *head);
LXEXPORT(void) LxQueueInsert(tLXQHEAD *head, tLXQELM *element);
LXEXPORT(void) LxQueueInsertHead(tLXQHEAD *head, tLXQELM *element);
LXEXPORT(tLXQELM *) LxQueueRemove(tLXQHEAD *head, DWORD timeoutMs);
LXEXPORT(tLXQELM *) LxQueueRemoveTail(tLXQHEAD *head, DWORD timeoutMs);
LXEXPORT(BOOL) LxQueueWait(tLXQHEAD *head, DWORD timeoutMs);
LXEXPORT(tLXQELM *) LxQueueFindAndRemove(tLXQHEAD *head, LXQUEUE_MATCH match, void *data);
LXEXPORT(tLXQELM *) LxQueueFindAndRemoveRev(tLXQHEAD *head, LXQUEUE_MATCH match, void *data);
LXEXPORT(BOOL) IsInLxQueue(tLXQHEAD *head, tLXQELM *element);
LXEXPORT(BOOL) LxQueueMoveToTail(tLXQHEAD *head, tLXQELM *element);
LXEXPORT(BOOL) LxQueueMoveToHead(tLXQHEAD *head, tLXQELM *element);

#endif
