/* The daemon's journal: short texts in memory, kept in a file over a restart. */
#ifndef BOARDD_JOURNAL_H
#define BOARDD_JOURNAL_H

#include <commonutilities/messagequeue.h>

#include <stdio.h>

/* Makes the queue and reads back what the last run left: the number of messages read, or -1. */
int journal_open(MessageQueue *queue, const char *path);

/* Writes the queue's messages to the file and releases it: 0, or -1. */
int journal_close(MessageQueue *queue, const char *path);

void journal_print(FILE *out, MessageQueue *queue);

#endif
