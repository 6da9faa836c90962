/// Macros of the public headers: export, printf-like functions, lock annotations. Layer: below everything.
#ifndef UTL_MACROS_H
#define UTL_MACROS_H

/// Marks what the shared library exports; everything else is hidden.
#define UTL_API __attribute__((visibility("default")))

/// A printf-like function: the format is argument FORMAT, the values begin at argument FIRST, counted from 1
/// (a member function counts its object as 1). FIRST is 0 for a va_list.
#define UTL_PRINTF(FORMAT, FIRST) __attribute__((format(printf, FORMAT, FIRST)))

/// Marks a function whose Caution is about memory errors or silent loss. If the program defines UTL_WARN_SHARP_EDGES,
/// each use of such a function is a warning (-Wdeprecated-declarations) that names the alternative.
#if defined(UTL_WARN_SHARP_EDGES)
#define UTL_SHARP_EDGE(ALTERNATIVE) __attribute__((deprecated("sharp edge: " ALTERNATIVE)))
#else
#define UTL_SHARP_EDGE(ALTERNATIVE)
#endif

// Lock annotations. Clang checks them (-Wthread-safety), other compilers see nothing.
#if defined(__clang__)
#define UTL_ANNOTATE(X) __attribute__((X))
#else
/// A lock annotation.
#define UTL_ANNOTATE(X)
#endif

#define UTL_CAPABILITY(NAME) UTL_ANNOTATE(capability(NAME))                    ///< A class that is a lock.
#define UTL_SCOPED_CAPABILITY UTL_ANNOTATE(scoped_lockable)                    ///< Holds a lock for a scope.
#define UTL_GUARDED_BY(LOCK) UTL_ANNOTATE(guarded_by(LOCK))                    ///< Data that LOCK guards.
#define UTL_PT_GUARDED_BY(LOCK) UTL_ANNOTATE(pt_guarded_by(LOCK))              ///< What a pointer points to.
#define UTL_REQUIRES(...) UTL_ANNOTATE(requires_capability(__VA_ARGS__))       ///< The caller holds the lock.
#define UTL_EXCLUDES(...) UTL_ANNOTATE(locks_excluded(__VA_ARGS__))            ///< The caller must not hold the lock.
#define UTL_ACQUIRE(...) UTL_ANNOTATE(acquire_capability(__VA_ARGS__))         ///< Takes the lock.
#define UTL_RELEASE(...) UTL_ANNOTATE(release_capability(__VA_ARGS__))         ///< Releases the lock.
#define UTL_TRY_ACQUIRE(...) UTL_ANNOTATE(try_acquire_capability(__VA_ARGS__)) ///< Has the lock if the result says so.
#define UTL_RETURN_CAPABILITY(LOCK) UTL_ANNOTATE(lock_returned(LOCK))          ///< Gives a reference to LOCK.
#define UTL_NO_THREAD_SAFETY_ANALYSIS UTL_ANNOTATE(no_thread_safety_analysis)  ///< Not checked; say why.

#endif
