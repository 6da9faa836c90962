/// A look inside the running process. Layer: thread registry.
#ifndef UTL_INSIDE_VIEW_H
#define UTL_INSIDE_VIEW_H

#include "UtlMacros.h"

namespace utl
{

/// Writes to a descriptor what every thread of the process does at this moment, in lines of text:
///
///     utl: threads of process 4711
///     thread 4713 "Reader": running, message 0x00000005 for 2350 ms, last report source/UtlFile read:210:1
///     thread 4713 "Reader": accepted 812, delivered 800, erased 0, taken back 0, waiting 12, most 64; refused full 3,
///         too large 0, stopped 0; orphaned 0, interrupts 0, time-outs 7, lost 0; calls 807,
///         the longest 20 ms for 0x00000005
///     thread 4713 "Reader": timers 2, 1 running, next due in 120 ms
///     thread 4713 "Reader": timer 3 every 500 ms, due in 120 ms, time-outs 7 of 10
///     thread 4713 "Reader": waits for 4714 "Writer" for 2350 ms, synchronous message 0x00000007
///     thread 4714 "Writer": holds the queue of 4713 "Reader"
///     deadlock: 4713 "Reader" waits for 4714 "Writer" waits for 4713 "Reader"
///     utl: 2 threads, 0 passed over, 0 lines dropped
///
/// The dump lists the threads of the registry, and others that have reported to the watchdog or waited for a thread of
/// the library. It passes over a thread that changes faster than it can be read. Everything that one line says of a
/// thread's message, wait or report was true at one moment; two lines may be of two moments. Times are as exact as the
/// kernel's tick. Counts that change too fast to be read at one moment are marked "about"; otherwise accepted is the
/// sum of delivered, erased, taken back and waiting, as in Ledger.
///
/// At most eight running timers of a thread have a line. A timer is overdue while its time-out waits or is handled.
///
/// The dump names the thread that "holds" the queue of a loop or a lock of the process (those of the registry, the
/// watchdog, the log and the like). Most locks are held for an instant, and a dump may show one by chance; look at a
/// lock that the same thread holds in two dumps. Of any other SyncObject the dump names the owner if a thread waits for
/// it. Owners are known with the GNU C library only.
///
/// Threads that wait for each other in a circle are a "deadlock" if each has waited for a second. Before that the line
/// says "circle", since one of them may only have to wake up.
///
/// nFd:      not owned. Each line is one write().
/// Result:   the number of lines that were dropped because the descriptor accepted none for 100 ms, or failed.
/// Caution:  reads the texts of file and function that each thread gave with its last report; a plug-in that has
/// reported must not be unloaded while that thread runs.
/// Threads:  any; two dumps at once mix their lines.
/// Signals:  yes, whatever locks are held. Takes no lock, allocates nothing, keeps errno.
/// Forks:    the child shows its own threads.
/// Blocking: for the descriptor, at most 100 ms before a line; after that for nothing.
UTL_API unsigned int dump(int nFd);

/// Makes the process write a dump to nFd whenever it gets the signal nSignal, for example SIGUSR1:
///
///     utl::installDumpSignal(SIGUSR1, STDERR_FILENO);   // then, from a shell: kill -USR1 PID
///
/// If the main thread is in an uninterruptible wait, the watchdog's thread takes the signal, at its next beat. The
/// signal's former handler is replaced.
/// nFd:      not owned; must stay open.
/// Result:   false, with errno, if the system refuses.
/// Caution:  calls that are not restarted after a signal, nanosleep() and poll() for example, end with EINTR on the
/// thread that takes it.
/// Threads:  any.
/// Signals:  no.
/// Forks:    the handler is inherited.
/// Blocking: never.
UTL_API bool installDumpSignal(int nSignal, int nFd);

/// Writes the counts of Ledger (UtlLedger.h) for all message threads and shared timers that run, in the text format
/// that a Prometheus server collects. Passing the text on is left to the application.
///
///     utl_messages_accepted_total{thread="Reader",id="4713"} 812
///
/// Counts are modulo 2^32; the server takes a wrap for a start from 0. Each number is read at a moment of its own.
/// npBuffer: gets nSize bytes at most, the terminator included; may be null.
/// Result:   the size of the text in bytes, the terminator included, about 1.2 KB a thread. If that is more than nSize,
///           the buffer holds an empty text. A thread that starts between two calls makes the text longer.
/// Threads:  any.
/// Signals:  no.
/// Forks:    the child shows its own threads.
/// Blocking: never. No lock, no memory.
UTL_API unsigned int printMetrics(char* npBuffer, unsigned int nSize);

} // namespace utl

#endif
