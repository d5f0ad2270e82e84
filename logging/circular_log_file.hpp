// The circular log file behind the control block's `logFile`. Callers hold the block's lock.
#ifndef COMMONUTILITIES_LOGGING_CIRCULAR_LOG_FILE_HPP
#define COMMONUTILITIES_LOGGING_CIRCULAR_LOG_FILE_HPP

#include "include/dbglog.h"

namespace cu {

/// Opens the block's log file, creating it when it does not exist, to go on at its end. A file that
/// cannot be opened leaves `logFile` null.
void OpenLogFileLocked(DBGLogCtrl &block);

/// Ends a write to the log file: takes over the new position, starts the file over when the limit
/// is reached, and brings the header up to date. Does nothing while no file is open.
void FinishLogWriteLocked(DBGLogCtrl &block);

}  // namespace cu

#endif
