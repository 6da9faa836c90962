/// The loops of the process that run. Layer: internal, message-driven thread.
#ifndef UTL_LOOP_LIST_H
#define UTL_LOOP_LIST_H

namespace utl
{
class Thread;
}

namespace utl::internal
{

/// A loop is in the list from the beginning of its run to the end, and it ends only once nobody looks at it.
///
/// Locks: the list's own, before that of a queue. Nobody has it while he waits.
class LoopList
{
public:
    /// What the list knows of a loop.
    class Loop
    {
    public:
        virtual ~Loop() = default;
        virtual Thread& thread() = 0;

        /// Writes in words what the loop does now, cut to nSize with the terminator.
        virtual void describe(char* npText, unsigned int nSize) const = 0;

    private:
        friend class LoopList;
        Loop* mpNext = nullptr;
    };

    /// In the list, for a scope. The newest comes first.
    class Listed
    {
    public:
        explicit Listed(Loop& nLoop);
        ~Listed();
        Listed(Listed const&) = delete;
        Listed& operator=(Listed const&) = delete;

    private:
        Loop& mLoop;
    };

    /// Result: false if no loop runs on that thread.
    static bool describe(int nThreadId, char* npText, unsigned int nSize);
};

} // namespace utl::internal

#endif
