/**
 * @file boardtopology.h
 * @brief Records of a board's buses, devices and sensors, and of the sensors to be watched.
 *
 * A board document describes management buses, the segments behind the multiplexers of each bus,
 * the devices of each segment and their sensors:
 *
 * @code{.json}
 * { "TopologyName": "demo", "platformid": "0x12", "devicefiles": ["/dev/i2c-0"],
 *   "AEBus": [ { "Name": "i2c0", "bus": "/dev/i2c-0", "id": 0, "protocol": "i2c",
 *     "AEBUSSegment": [ { "aebusid": 0, "segmentpath": "0", "powerstate": "on",
 *       "AESegmentDevice": { "Name": "mux0", "Type": "mux", "address": "0x70" },
 *       "AEDevice": [ { "ClassID": 1, "InstanceID": 0, "Name": "temp0", "Type": "thermometer",
 *         "address": "0x48", "length": 2, "value": 0,
 *         "SensorList": [ { "ClassID": 1, "InstanceID": 0, "Name": "Inlet", "Type": "temperature",
 *                           "Lun": 0, "Sensorid": 7, "Cacheable": true,
 *                           "DisableOnUpdate": false } ] } ] } ] } ] }
 * @endcode
 *
 * A monitor document lists sensors and the rules that switch their watching on and off:
 *
 * @code{.json}
 * { "enableRule": "%1 1 ==", "disableRule": "%1 0 ==",
 *   "sensors": [ { "sensorType": "gpio", "sensorName": "button", "id": 17, "activeLow": true } ] }
 * @endcode
 *
 * There are no loaders: read a document with parseJson() or parseJsonBuffer() and a document
 * callback that starts processObject() with the deserializer of its outermost record, into a
 * zero-filled record (see rfvalues.h):
 *
 * @code
 * static int32_t board_document(const char *json, jsmntok_t *tokens, const char *label,
 *                               uint32_t count, void *board) {
 *   JsonWalkContext context = {json, tokens, 0, 0, count, 0};
 *   processObject(&context, label, 0, (int32_t)strlen(json), 0, board,
 *                 deserialize_rfAEBoardTopology);
 *   return 0;
 * }
 *
 * rfAEBoardTopology board;
 * memset(&board, 0, sizeof board);
 * parseJson("/etc/demo/board.json", "board", board_document, &board);
 * ...
 * free_rfAEBoardTopology(&board);
 * @endcode
 *
 * (An empty file calls back with a null text: check it where that can happen.)
 *
 * **What the releases leave.** Three lists are not freed by the releases of the records that hold
 * them. Free them first, yourself, or lose them:
 *
 * - a device's `SensorList`: free_rfAEBoardTopologyAESensorArray();
 * - what a segment's `AESegmentDevice` owns: free_rfAEBoardTopologyAEDevice(), and its sensors;
 * - a rule's `sensors`: free_rfAESensorMonitorArray().
 *
 * **What surprises users.** A key that is missing or cannot be read leaves its field zero. "bus" is
 * a text in a bus and an integer in a segment topology. Numbers are cut to the width of their
 * field. Members of objects under unknown keys are read as if they stood in the enclosing object. A
 * key that a document repeats loses the earlier value's memory.
 *
 * **Thread safety.** Records have no lock. Distinct records are independent.
 */
#ifndef COMMONUTILITIES_BOARDTOPOLOGY_H
#define COMMONUTILITIES_BOARDTOPOLOGY_H

#include "rfvalues.h"

CU_BEGIN_DECLS

/** A sensor of a device. */
typedef struct rfAEBoardTopologyAESensor {
  uint16_t ClassID;          /**< what kind of sensor it is */
  uint16_t InstanceID;       /**< tells sensors of one kind apart */
  rfString Name;             /**< its name */
  rfString Type;             /**< what it measures, a free text */
  rfInteger Lun;             /**< logical unit */
  rfInteger Sensorid;        /**< its number */
  rfBoolean Cacheable;       /**< its readings may be kept */
  rfBoolean DisableOnUpdate; /**< it rests during a firmware update */
} rfAEBoardTopologyAESensor;

/** A list of sensors. */
typedef struct rfAEBoardTopologyAESensorArray {
  uint32_t count;                  /**< number of elements */
  rfAEBoardTopologyAESensor *list; /**< heap array; null when there is none */
} rfAEBoardTopologyAESensorArray;

/** A device on a segment. */
typedef struct rfAEBoardTopologyAEDevice {
  uint16_t ClassID;    /**< what kind of device it is */
  uint16_t InstanceID; /**< tells devices of one kind apart */
  rfString Name;       /**< its name */
  rfString Type;       /**< what it is, a free text */
  uint8_t address;     /**< from a hexadecimal text, its low 8 bits: "0x1ff" is 0xff */
  uint8_t length;      /**< bytes of a transfer */
  uint32_t value;      /**< a value for it */
  rfAEBoardTopologyAESensorArray SensorList; /**< not freed by the device's release */
} rfAEBoardTopologyAEDevice;

/** A list of devices. */
typedef struct rfAEBoardTopologyAEDeviceArray {
  uint32_t count;                  /**< number of elements */
  rfAEBoardTopologyAEDevice *list; /**< heap array; null when there is none */
} rfAEBoardTopologyAEDeviceArray;

/** A segment of a bus. */
typedef struct rfAEBoardTopologyAEBUSSegment {
  rfAEBoardTopologyAEDeviceArray AEDevice;   /**< the devices on the segment */
  rfAEBoardTopologyAEDevice AESegmentDevice; /**< not freed by the segment's release */
  uint32_t aebusid;                          /**< id of the bus */
  rfString segmentpath;                      /**< its channel of the multiplexer */
  rfString powerstate;                       /**< when it has power, a free text */
} rfAEBoardTopologyAEBUSSegment;

/** A list of segments. */
typedef struct rfAEBoardTopologyAEBUSSegmentArray {
  uint32_t count;                      /**< number of elements */
  rfAEBoardTopologyAEBUSSegment *list; /**< heap array; null when there is none */
} rfAEBoardTopologyAEBUSSegmentArray;

/** A bus. */
typedef struct rfAEBoardTopologyAEBus {
  rfAEBoardTopologyAEBUSSegmentArray AEBUSSegment; /**< the segments of the bus */
  rfString Name;                                   /**< its name */
  rfString bus;                                    /**< its device file */
  uint32_t id;                                     /**< its number */
  rfString protocol;                               /**< what is spoken on it, a free text */
} rfAEBoardTopologyAEBus;

/** A list of buses. */
typedef struct rfAEBoardTopologyAEBusArray {
  uint32_t count;               /**< number of elements */
  rfAEBoardTopologyAEBus *list; /**< heap array; null when there is none */
} rfAEBoardTopologyAEBusArray;

/** A board. */
typedef struct rfAEBoardTopology {
  rfAEBoardTopologyAEBusArray AEBus; /**< the buses of the board */
  rfString TopologyName;             /**< name of the board */
  rfString platformid;               /**< id of the board, a free text */
  rfStringArray devicefiles;         /**< the device files of its buses */
} rfAEBoardTopology;

/** A list of boards. */
typedef struct rfAEBoardTopologyArray {
  uint32_t count;          /**< number of elements */
  rfAEBoardTopology *list; /**< heap array; null when there is none */
} rfAEBoardTopologyArray;

/** A board that is described by its segments alone. */
typedef struct rfAEBoardSegmentTopology {
  rfAEBoardTopologyAEBUSSegmentArray AEBusSegment; /**< the key, too, is spelt with a small "us" */
  rfString TopologyName;                           /**< name of the board */
  rfString platformid;                             /**< id of the board, a free text */
  uint32_t bus; /**< number of the bus that all segments are on */
} rfAEBoardSegmentTopology;

/** A list of boards that are described by their segments. */
typedef struct rfAEBoardSegmentTopologyArray {
  uint32_t count;                 /**< number of elements */
  rfAEBoardSegmentTopology *list; /**< heap array; null when there is none */
} rfAEBoardSegmentTopologyArray;

/** What a monitor watches. */
enum rfAESensorType {
  SENSOR_TYPE_GPIO = 0,       /**< "gpio", a prefix of it, or a text that begins with it */
  SENSOR_TYPE_IPMISENSOR = 1, /**< "ipmisensor", likewise */
  SENSOR_TYPE_UNKNOWN = 2     /**< any other text */
};

/** A watched sensor. */
typedef struct rfAESensorMonitor {
  uint32_t sensorType; /**< an rfAESensorType */
  rfString sensorName; /**< its name */
  rfInteger id;        /**< line or sensor number */
  rfBoolean activeLow; /**< 0 means on */
} rfAESensorMonitor;

/** A list of watched sensors. */
typedef struct rfAESensorMonitorArray {
  uint32_t count;          /**< number of elements */
  rfAESensorMonitor *list; /**< heap array; null when there is none */
} rfAESensorMonitorArray;

/** When sensors are watched. */
typedef struct rfAESensorMonitorRule {
  rfString enableRule;            /**< expression that switches watching on */
  rfString disableRule;           /**< expression that switches it off */
  rfAESensorMonitorArray sensors; /**< not freed by the rule's release */
} rfAESensorMonitorRule;

/** A list of rules. */
typedef struct rfAESensorMonitorRuleArray {
  uint32_t count;              /**< number of elements */
  rfAESensorMonitorRule *list; /**< heap array; null when there is none */
} rfAESensorMonitorRuleArray;

/** @name Deserializers
 *  Each returns the result of the value's reader, and 0 for an unknown or null key and a null
 *  argument. The array forms take the list as record and grow it to index + 1 zeroed elements;
 *  without memory for that they release the list, which is empty then, and give 0.
 *
 *  **Shared arguments and results.**
 *  - `context`: the walk.
 *  - `start`: offset of the value in the text.
 *  - `end`: offset one past the value.
 *  - `key`: the property's name.
 *  - `index`: position of the element in its array; 0 outside arrays.
 *  - `record`: the record to fill.
 *  - `array`: the list to fill.
 *  - Result: what the value's reader gave; 0 for an unknown or null key and a null argument.
 *  @{ */
/** A board. */
CU_API int32_t deserialize_rfAEBoardTopology(JsonWalkContext *context, int32_t start, int32_t end,
                                             const char *key, uint32_t index, void *record);
/** An element of a list of boards. */
CU_API int32_t deserialize_rfAEBoardTopologyArray(JsonWalkContext *context, int32_t start,
                                                  int32_t end, const char *key, uint32_t index,
                                                  void *array);
/** A board that is described by its segments alone. */
CU_API int32_t deserialize_rfAEBoardSegmentTopology(JsonWalkContext *context, int32_t start,
                                                    int32_t end, const char *key, uint32_t index,
                                                    void *record);
/** An element of a list of such boards. */
CU_API int32_t deserialize_rfAEBoardSegmentTopologyArray(JsonWalkContext *context, int32_t start,
                                                         int32_t end, const char *key,
                                                         uint32_t index, void *array);
/** A bus. */
CU_API int32_t deserialize_rfAEBoardTopologyAEBus(JsonWalkContext *context, int32_t start,
                                                  int32_t end, const char *key, uint32_t index,
                                                  void *record);
/** An element of a list of buses. */
CU_API int32_t deserialize_rfAEBoardTopologyAEBusArray(JsonWalkContext *context, int32_t start,
                                                       int32_t end, const char *key, uint32_t index,
                                                       void *array);
/** A segment. */
CU_API int32_t deserialize_rfAEBoardTopologyAEBUSSegment(JsonWalkContext *context, int32_t start,
                                                         int32_t end, const char *key,
                                                         uint32_t index, void *record);
/** An element of a list of segments. */
CU_API int32_t deserialize_rfAEBoardTopologyAEBUSSegmentArray(JsonWalkContext *context,
                                                              int32_t start, int32_t end,
                                                              const char *key, uint32_t index,
                                                              void *array);
/** A device. */
CU_API int32_t deserialize_rfAEBoardTopologyAEDevice(JsonWalkContext *context, int32_t start,
                                                     int32_t end, const char *key, uint32_t index,
                                                     void *record);
/** An element of a list of devices. */
CU_API int32_t deserialize_rfAEBoardTopologyAEDeviceArray(JsonWalkContext *context, int32_t start,
                                                          int32_t end, const char *key,
                                                          uint32_t index, void *array);
/** A sensor. */
CU_API int32_t deserialize_rfAEBoardTopologyAESensor(JsonWalkContext *context, int32_t start,
                                                     int32_t end, const char *key, uint32_t index,
                                                     void *record);
/** An element of a list of sensors. */
CU_API int32_t deserialize_rfAEBoardTopologyAESensorArray(JsonWalkContext *context, int32_t start,
                                                          int32_t end, const char *key,
                                                          uint32_t index, void *array);
/** "sensorType" gives 0, also when it was stored. */
CU_API int32_t deserialize_rfAESensorMonitor(JsonWalkContext *context, int32_t start, int32_t end,
                                             const char *key, uint32_t index, void *record);
/** An element of a list of watched sensors. */
CU_API int32_t deserialize_rfAESensorMonitorArray(JsonWalkContext *context, int32_t start,
                                                  int32_t end, const char *key, uint32_t index,
                                                  void *array);
/** A rule with its sensors. */
CU_API int32_t deserialize_rfAESensorMonitorRule(JsonWalkContext *context, int32_t start,
                                                 int32_t end, const char *key, uint32_t index,
                                                 void *record);
/** An element of a list of rules. */
CU_API int32_t deserialize_rfAESensorMonitorRuleArray(JsonWalkContext *context, int32_t start,
                                                      int32_t end, const char *key, uint32_t index,
                                                      void *array);
/** @} */

/** @name Releases
 *  The array forms release every element as the form for one does, and free the list. The record
 *  itself is not freed and nothing is reset: call one once a load. Null is accepted.
 *
 *  **Shared arguments.**
 *  - `record`: what to release.
 *  - `array`: the list to release.
 *  @{ */
/** Frees the buses with what they own, the names and the device files. */
CU_API void free_rfAEBoardTopology(rfAEBoardTopology *record);
/** Frees a list of boards. */
CU_API void free_rfAEBoardTopologyArray(rfAEBoardTopologyArray *array);
/** Frees the segments with what they own, and the names. */
CU_API void free_rfAEBoardSegmentTopology(rfAEBoardSegmentTopology *record);
/** Frees a list of such boards. */
CU_API void free_rfAEBoardSegmentTopologyArray(rfAEBoardSegmentTopologyArray *array);
/** Frees the segments with what they own, and the texts. */
CU_API void free_rfAEBoardTopologyAEBus(rfAEBoardTopologyAEBus *record);
/** Frees a list of buses. */
CU_API void free_rfAEBoardTopologyAEBusArray(rfAEBoardTopologyAEBusArray *array);
/** Frees the devices and the texts; not what `AESegmentDevice` owns. */
CU_API void free_rfAEBoardTopologyAEBUSSegment(rfAEBoardTopologyAEBUSSegment *record);
/** Frees a list of segments. */
CU_API void free_rfAEBoardTopologyAEBUSSegmentArray(rfAEBoardTopologyAEBUSSegmentArray *array);
/** Frees name and type; not the sensors. */
CU_API void free_rfAEBoardTopologyAEDevice(rfAEBoardTopologyAEDevice *record);
/** Frees a list of devices. */
CU_API void free_rfAEBoardTopologyAEDeviceArray(rfAEBoardTopologyAEDeviceArray *array);
/** Frees name and type. */
CU_API void free_rfAEBoardTopologyAESensor(rfAEBoardTopologyAESensor *record);
/** Frees a list of sensors. */
CU_API void free_rfAEBoardTopologyAESensorArray(rfAEBoardTopologyAESensorArray *array);
/** Frees the name. */
CU_API void free_rfAESensorMonitor(rfAESensorMonitor *record);
/** Frees a list of watched sensors. */
CU_API void free_rfAESensorMonitorArray(rfAESensorMonitorArray *array);
/** Frees the two rules; not the sensors. */
CU_API void free_rfAESensorMonitorRule(rfAESensorMonitorRule *record);
/** Frees a list of rules. */
CU_API void free_rfAESensorMonitorRuleArray(rfAESensorMonitorRuleArray *array);
/** @} */

CU_END_DECLS

#endif
