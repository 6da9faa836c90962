/// Macros of the public headers: export, printf-like functions, lock annotations. Layer: below everything.
#ifndef UTL_MACROS_H
#define UTL_MACROS_H

/// Marks what the shared library exports; all else is hidden.
#define UTL_API __attribute__((visibility("default")))

/// A printf-like function: the format is argument FORMAT, the values begin at argument FIRST, counted from 1
/// (a member function counts its object as 1). FIRST is 0 for a va_list.
#define UTL_PRINTF(FORMAT, FIRST) __attribute__((format(printf, FORMAT, FIRST)))

/// Marks a function whose Caution concerns memory or what gets lost in silence. If the program defines
/// UTL_WARN_SHARP_EDGES, each use of one is a warning (-Wdeprecated-declarations) that names the alternative.
#if defined(UTL_WARN_SHARP_EDGES)
#define UTL_SHARP_EDGE(ALTERNATIVE) __attribute__((deprecated("sharp edge: " ALTERNATIVE)))
#else
#define UTL_SHARP_EDGE(ALTERNATIVE)
#endif

// Lock annotations. Clang checks them (-Wthread-safety), other compilers see nothing.
#if defined(__clang__)
#define UTL_ANNOTATE(X) __attribute__((X))
#else
/// One of them.
#define UTL_ANNOTATE(X)
#endif

#define UTL_CAPABILITY(NAME) UTL_ANNOTATE(capability(NAME))                    ///< A class that is a lock.
#define UTL_SCOPED_CAPABILITY UTL_ANNOTATE(scoped_lockable)                    ///< Holds one for a scope.
#define UTL_GUARDED_BY(LOCK) UTL_ANNOTATE(guarded_by(LOCK))                    ///< Data that LOCK guards.
#define UTL_PT_GUARDED_BY(LOCK) UTL_ANNOTATE(pt_guarded_by(LOCK))              ///< What a pointer points to.
#define UTL_REQUIRES(...) UTL_ANNOTATE(requires_capability(__VA_ARGS__))       ///< The caller holds the lock.
#define UTL_EXCLUDES(...) UTL_ANNOTATE(locks_excluded(__VA_ARGS__))            ///< The caller must not hold it.
#define UTL_ACQUIRE(...) UTL_ANNOTATE(acquire_capability(__VA_ARGS__))         ///< Takes the lock.
#define UTL_RELEASE(...) UTL_ANNOTATE(release_capability(__VA_ARGS__))         ///< Lets go of it.
#define UTL_TRY_ACQUIRE(...) UTL_ANNOTATE(try_acquire_capability(__VA_ARGS__)) ///< Takes it if the result says so.
#define UTL_RETURN_CAPABILITY(LOCK) UTL_ANNOTATE(lock_returned(LOCK))          ///< Gives a reference to LOCK.
#define UTL_NO_THREAD_SAFETY_ANALYSIS UTL_ANNOTATE(no_thread_safety_analysis)  ///< Beyond the analysis; say why.

#endif
