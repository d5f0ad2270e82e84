#include "include/AmbrelDataStorage.h"

#include <errno.h>
#include <string.h>

#include "internal/log_pair.hpp"
#include "storage/store_checksum.hpp"
#include "storage/store_lock.hpp"
#include "storage/store_records.hpp"
#include "storage/store_stream.hpp"

namespace {
constexpr char kLogModule[] = "AmbrelDataStorage";
}

using namespace cu::store;

uint32_t saveAmbrelStorageDeviceUpdateEntry(AmbrelStorageEngine *engine, AmbrelStorageEntry *entry,
                                            uint32_t held, uint32_t refreshCrc) {
  if (engine == nullptr || entry == nullptr) return 0;
  const StoreLock lock(*engine, held);
  if (!lock || !HasStream(*engine)) return 0;
  if (!OpenForUpdate(*engine)) {
    // Without a line break, as readers of the log know it: the next message follows on its line.
    CU_LOG(DBGLOG_DEBUG, "Unable to open db file %s", strerror(errno));
    return 0;
  }
  if (refreshCrc == 0) return WriteRecord(*engine, *entry) && Resync(*engine);
  PassingChecksum checksum;
  return WriteRecord(*engine, *entry, &checksum) && RefreshChecksum(*engine, checksum);
}
