/**
 * @file AmbrelSignalHndlr.h
 * @brief Signal handlers for daemons: a table of callbacks, and a logged backtrace on a crash.
 *
 * A daemon installs the handlers once and then registers up to ten callbacks, each for a set of
 * signals:
 *
 * @code
 * static volatile sig_atomic_t stop;
 * static void OnStop(void *argument) { *(volatile sig_atomic_t *)argument = 1; }
 * static void OnCrash(void *argument) { (void)argument; _exit(1); }
 * ...
 * InitSignals();
 * InitSignalsWithCallback(OnStop, 1U << SIGTERM | 1U << SIGINT, (void *)&stop);
 * InitSignalsWithCallback(OnCrash, 1U << SIGSEGV | 1U << SIGILL | 1U << SIGFPE, NULL);
 * @endcode
 *
 * **What a handler does.** Every arrival is traced on standard output, through stdio: "Sig#: 15"
 * once, and "Sig# found: 15" for each occupied slot that is looked at and once more for the match.
 * The callback of the first slot whose set contains the signal is called; later slots are not
 * looked at.
 *
 * | Signal | Handler |
 * |---|---|
 * | SIGABRT, SIGSEGV | print_trace(), then the callback |
 * | SIGBUS | the callback, then exit(-1): exit handlers run, the status is 255 |
 * | SIGTERM | prints "Received SIGTERM", then the callback |
 * | SIGTSTP | the callback, then prints "  Received SIGTSTP"; the process is not stopped |
 * | SIGCONT | nothing |
 * | all others | the callback |
 *
 * **Mind the faults.** A handler returns, and the kernel then repeats the instruction that faulted:
 * after SIGSEGV, SIGILL or SIGFPE the process loops through its handler for ever. Register a
 * callback for them that ends the process, as above. SIGABRT ends the process by itself once the
 * handler has returned. A stack that has overflowed leaves no room for a handler: that process dies
 * at once, without a trace.
 *
 * **Signal context.** Callbacks run inside the handler, on whichever thread took the signal, with
 * only that signal blocked. The handlers themselves use stdio, the logger and, for a backtrace,
 * malloc(): a crash inside one of these can hang the process instead of ending it. Let a watchdog
 * restart it, and have callbacks do no more than set a flag or leave with _exit(). `errno` is as
 * before when a handler returns.
 *
 * **Backtraces.** A frame is recorded only where there are unwind tables, and gets a name only
 * where the dynamic symbol table has one: on 32-bit ARM build daemons with `-funwind-tables`, and
 * everywhere link them with `-rdynamic`. The library itself is built so. On 32-bit ARM abort()
 * itself has no unwind table in many builds of libc, Debian's among them, and a backtrace from
 * within it ends there; `raise(SIGABRT)` shows its caller.
 *
 * **Thread safety.** The table has no lock. Register and remove from one thread, best before the
 * signals are expected. A signal that arrives meanwhile sees a new entry either whole or not at
 * all. The same holds for a removal when the signal arrives on the removing thread. A handler that
 * is running on another thread may see a removal in part: it may call the callback with a null
 * argument, with that of the next callback in the same slot, or after RemoveSignalCallback() has
 * returned. Where callbacks come and go, block the signals in all other threads.
 */
#ifndef COMMONUTILITIES_AMBRELSIGNALHNDLR_H
#define COMMONUTILITIES_AMBRELSIGNALHNDLR_H

#include "commonutilities_api.h"

CU_BEGIN_DECLS

/** Number of callbacks that can be registered at a time. */
#define AMBREL_SIGNAL_CALLBACKS 10

/**
 * @brief Called in signal context when a signal of its set arrives.
 *
 * @param argument what was given at registration.
 */
typedef void (*AmbrelSignalCallback)(void *argument);

/**
 * @brief Removes every callback and installs the handlers of all signals but SIGWINCH.
 *
 * These are SIGQUIT, SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE, SIGUSR1, SIGSEGV, SIGUSR2, SIGPIPE,
 * SIGALRM, SIGCONT, SIGTSTP, SIGTTIN, SIGTTOU, SIGURG, SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF, SIGIO,
 * SIGPWR, SIGTERM and last SIGINT. System calls that a handler interrupts are restarted
 * (SA_RESTART). A handler that cannot be installed is told on standard output, "Cannot catch signal
 * SigNum 7", and the others are installed nevertheless.
 *
 * Call it before registering callbacks, since it removes them all.
 *
 * @return what sigaction() gave for the last one, SIGINT: 0, or -1.
 */
CU_API int32_t InitSignals(void);

/**
 * @brief InitSignals() for a choice of signals, which may include SIGWINCH.
 *
 * @param mask bit n set installs the handler of signal n, for the signals named above and SIGWINCH
 *             (28). Other bits are ignored. 0 removes the callbacks and installs nothing.
 * @return what sigaction() gave for the last signal installed; 0 when there was none.
 */
CU_API int32_t AmbrelInitSignals(uint32_t mask);

/**
 * @brief Registers a callback for a set of signals. It installs no handler.
 *
 * @param callback called when one of the signals arrives; a null one only takes the slot.
 * @param mask     bit n set selects signal n.
 * @param argument passed to the callback; it has to live as long as the registration.
 * @return the index of the slot taken, 0 to 9. A full table also gives 0, and then nothing has been
 *         registered: count your registrations.
 *
 * @warning The result is not what RemoveSignalCallback() wants: that is the result + 1.
 */
CU_API int32_t InitSignalsWithCallback(AmbrelSignalCallback callback, uint32_t mask,
                                       void *argument);

/**
 * @brief Removes the callback with an id, which is what its registration returned, plus 1.
 *
 * With the registration's result itself the slot before is removed, and for a result of 0 nothing.
 *
 * @param id 1 to 10; anything else removes nothing.
 */
CU_API void RemoveSignalCallback(uint32_t id);

/**
 * @brief Logs the calling thread's stack at level CRITICAL, a line a frame: "bt:<thread id>:
 * <frame>".
 *
 * At most 31 frames, from the caller of print_trace() outwards. A frame reads as
 * backtrace_symbols() gives it, "program(function+0x1c) [0x4012ac]", and a line is cut at 511
 * characters. Uses malloc(); without memory nothing is logged. Does nothing while the level is off.
 */
CU_API void print_trace(void);

/** @brief The handler of SIGURG: does what the arrival of signal 23 does. */
CU_API void sigurg(void);

CU_END_DECLS

#endif
