/* The custom action of action.json: a method in a plug-in. */
#ifndef BOARDD_ACTION_H
#define BOARDD_ACTION_H

#include <stdio.h>

/* Reads the action, runs it and prints what it measured; 0, or -1 when it could not run. */
int action_run(FILE *out, const char *document);

#endif
