/* The daemon's status as a JSON document, written and read back. */
#ifndef BOARDD_STATUS_H
#define BOARDD_STATUS_H

#include <stdio.h>

#include "readings.h"
#include "rules.h"
#include "settings.h"

/* Writes the status document: 0, or -1. */
int status_write(const char *path, const struct settings *settings, struct readings *readings,
                 const struct rules *rules);

/* Loads a document as a node tree and prints what stands at each path; 0 when all are there. */
int status_query(FILE *out, const char *path, const char *const *queries, int count);

#endif
