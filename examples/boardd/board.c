#include "board.h"

#include <commonutilities/ae-gpio.h>
#include <commonutilities/jsonparser.h>

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

/* The document callbacks: start the walk with the deserializer of the root record. */
static int32_t read_topology(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                             void *record) {
  if (json == NULL) return 1;
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  processObject(&context, label, 0, (int32_t)strlen(json), 0, record,
                deserialize_rfAEBoardTopology);
  return 0;
}

static int32_t read_rules(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                          void *record) {
  if (json == NULL) return 1;
  JsonWalkContext context = {json, tokens, 0, 0, count, 0};
  processObject(&context, label, 0, (int32_t)strlen(json), 0, record,
                deserialize_rfAESensorMonitorRuleArray);
  return 0;
}

int board_load(struct board *board) {
  memset(board, 0, sizeof *board);
  if (!parseJson("board.json", "topology", read_topology, &board->topology) ||
      !parseJson("monitor.json", "monitor", read_rules, &board->rules)) {
    fprintf(stderr, "boardd: board.json or monitor.json is missing or is not a JSON document\n");
    return -1;
  }
  /* Directory and file are joined without a separator. */
  if (ParserJSONFileDictionary("./", "filedictionary.json", &board->dictionary) != 1) {
    fprintf(stderr, "boardd: filedictionary.json is missing or is not a JSON document\n");
    return -1;
  }
  return 0;
}

static void print_gpio(FILE *out, const struct board *board) {
  if (access("/sys/class/gpio/export", W_OK) != 0) {
    fprintf(out, "    GPIO         this kernel has no /sys/class/gpio (CONFIG_GPIO_SYSFS)\n");
    return;
  }
  for (uint32_t i = 0; i < board->rules.count; ++i) {
    for (uint32_t j = 0; j < board->rules.list[i].sensors.count; ++j) {
      const rfAESensorMonitor *sensor = &board->rules.list[i].sensors.list[j];
      uint32_t value = 0;
      if (sensor->sensorType != SENSOR_TYPE_GPIO) continue;
      gpio_export((int)sensor->id); /* fails when it is exported already: the read tells */
      if (gpio_get_value((int)sensor->id, &value) == 0)
        fprintf(out, "    GPIO         line %d (%s) is %u\n", (int)sensor->id, sensor->sensorName,
                sensor->activeLow ? !value : value);
    }
  }
}

void board_print(FILE *out, const struct board *board) {
  const rfAEBoardTopology *topology = &board->topology;
  unsigned segments = 0, devices = 0, sensors = 0;
  for (uint32_t b = 0; b < topology->AEBus.count; ++b) {
    const rfAEBoardTopologyAEBus *bus = &topology->AEBus.list[b];
    segments += bus->AEBUSSegment.count;
    for (uint32_t s = 0; s < bus->AEBUSSegment.count; ++s) {
      const rfAEBoardTopologyAEBUSSegment *segment = &bus->AEBUSSegment.list[s];
      devices += segment->AEDevice.count;
      for (uint32_t d = 0; d < segment->AEDevice.count; ++d)
        sensors += segment->AEDevice.list[d].SensorList.count;
    }
  }
  fprintf(out, "    topology     %s: %u buses, %u segments, %u devices, %u sensors\n",
          topology->TopologyName, topology->AEBus.count, segments, devices, sensors);
  unsigned watched = 0;
  for (uint32_t i = 0; i < board->rules.count; ++i) watched += board->rules.list[i].sensors.count;
  fprintf(out, "    monitor      %u rules over %u sensors\n", board->rules.count, watched);
  fprintf(out, "    files        %u entries, version %s\n", board->dictionary.filelist.count,
          board->dictionary.version);
  print_gpio(out, board);
}

/* Some releases are partial by design. What they leave is freed first: the sensors of devices, the
 * device that a segment holds in place, the sensors of a rule. */
static void release_device_sensors(rfAEBoardTopologyAEDevice *device) {
  free_rfAEBoardTopologyAESensorArray(&device->SensorList);
}

void board_release(struct board *board) {
  rfAEBoardTopology *topology = &board->topology;
  for (uint32_t b = 0; b < topology->AEBus.count; ++b) {
    rfAEBoardTopologyAEBUSSegmentArray *segments = &topology->AEBus.list[b].AEBUSSegment;
    for (uint32_t s = 0; s < segments->count; ++s) {
      rfAEBoardTopologyAEBUSSegment *segment = &segments->list[s];
      for (uint32_t d = 0; d < segment->AEDevice.count; ++d)
        release_device_sensors(&segment->AEDevice.list[d]);
      release_device_sensors(&segment->AESegmentDevice);
      free_rfAEBoardTopologyAEDevice(&segment->AESegmentDevice);
    }
  }
  free_rfAEBoardTopology(topology);
  for (uint32_t i = 0; i < board->rules.count; ++i)
    free_rfAESensorMonitorArray(&board->rules.list[i].sensors);
  free_rfAESensorMonitorRuleArray(&board->rules);
  free_rfAEFileDictionary(&board->dictionary);
  memset(board, 0, sizeof *board);
}
