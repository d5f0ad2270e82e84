// The callbacks that daemons register for signals, and the dispatch of an arrived signal to them.
#ifndef COMMONUTILITIES_PROCESS_SIGNAL_TABLE_HPP
#define COMMONUTILITIES_PROCESS_SIGNAL_TABLE_HPP

namespace cu {

/// Frees every slot.
void ClearSignalTable();

/// Traces the arrival of a signal (1 to 31) on standard output and calls the first callback whose
/// set contains it. Runs in signal context.
void DispatchSignal(int signal);

}  // namespace cu

#endif
