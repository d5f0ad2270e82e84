/* The documents that describe the board: topology, sensor monitor, file dictionary. */
#ifndef BOARDD_BOARD_H
#define BOARDD_BOARD_H

#include <commonutilities/boardtopology.h>
#include <commonutilities/filedictionary.h>

#include <stdio.h>

struct board {
  rfAEBoardTopology topology;
  rfAESensorMonitorRuleArray rules;
  rfAEFileDictionary dictionary;
};

/* Reads the three documents of the current folder: 0, or -1 with a message on standard error. */
int board_load(struct board *board);
void board_print(FILE *out, const struct board *board);
void board_release(struct board *board);

#endif
