#include "include/AmbrelDataStorage.h"

#include <stdint.h>
#include <time.h>
#include <unistd.h>

#include "storage/store_lock.hpp"

namespace {

constexpr uint32_t kPeriodSeconds = 60;
constexpr uint32_t kCompactionSeconds = 24 * 60 * 60;

}  // namespace

void AmbrelStorageEngineContollerMaintenance(AmbrelStorageEngine *engine) {
  if (engine == nullptr) return;
  uint32_t elapsed = 0;
  for (;;) {
    sleep(kPeriodSeconds);
    const cu::store::StoreLock lock(*engine, 0);
    if (!lock) continue;
    elapsed += kPeriodSeconds;
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (elapsed < kCompactionSeconds) {
      saveAllAmbrelStorageEntries(engine, 1);
      continue;
    }
    compressAmbrelStorageEntries(engine, 0, static_cast<uint64_t>(now.tv_sec),
                                 static_cast<uint32_t>(engine->retention), 1);
    elapsed = 0;
  }
}
