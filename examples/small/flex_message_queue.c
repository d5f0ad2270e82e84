/* One publisher, a recorder that gets every reading, and an alarm that gets the hot ones. */
#include <commonutilities/flexmsgqueue.h>

#include <stdio.h>
#include <stdlib.h>

enum { READINGS = 20, CAPACITY = 32, WAIT_MS = 20 };
static int stop;

/* Runs on the publisher's thread with the queue locked: it must not call back into the queue. */
static int is_hot(void *limit, void *data) {
  return *(const double *)data > *(const double *)limit;
}

static int take_all(FlexMsgQueue *queue, uint32_t me) {
  int taken = 0;
  for (FlexMsgEntry *entry; (entry = DeQueueMsgFlexEntry(queue, me, 0)) != NULL; ++taken)
    FreeFlexMsgQueueEntry(entry, 0);
  return taken;
}

struct subscriber {
  FlexMsgQueue *queue;
  uint32_t slot;
  int received;
};

static void *subscribe(void *argument) {
  struct subscriber *me = argument;
  while (!__atomic_load_n(&stop, __ATOMIC_ACQUIRE))
    if (waitOnFlexMsgQueue(me->queue, me->slot, WAIT_MS)) /* always with a time */
      me->received += take_all(me->queue, me->slot);
  /* Take what is left before leaving: the deregistration releases only half of it. */
  me->received += take_all(me->queue, me->slot);
  deRegisterFlexMsgQueueSubscriber(me->queue, me->slot);
  return NULL;
}

int main(void) {
  static FlexMsgQueue queue; /* zero-filled */
  static double limit = 60.0;
  struct subscriber recorder = {&queue, 0, 0}, alarm = {&queue, 0, 0};
  pthread_t threads[2];
  if (!Init_FlexMsgQueue(&queue, 2, CAPACITY, WAIT_MS)) return 1;
  if (!registerFlexMsgQueueSubscriber(&queue, &recorder.slot)) return 1;
  if (!registerFlexMsgQueueSubscriberWMatch(&queue, &limit, is_hot, &alarm.slot)) return 1;
  if (pthread_create(&threads[0], NULL, subscribe, &recorder) != 0) return 1;
  if (pthread_create(&threads[1], NULL, subscribe, &alarm) != 0) return 1;
  for (int i = 0; i < READINGS; ++i) {
    double celsius = 50.0 + i;
    insertFlexMsgQueueEntry(&queue, &celsius, sizeof celsius, 0); /* 1 whoever got it */
  }
  __atomic_store_n(&stop, 1, __ATOMIC_RELEASE);
  for (int i = 0; i < 2; ++i) pthread_join(threads[i], NULL);
  printf("recorder %d, alarm %d of %d\n", recorder.received, alarm.received, READINGS);
  DeInit_FlexMsgQueue(&queue);
  free(queue.subs); /* the array is left to its owner */
  return 0;
}
