/// SIGINT and SIGTERM as a request to come to an end.
#ifndef DEMO_INTERRUPTION_H
#define DEMO_INTERRUPTION_H

namespace demo
{

/// Catches both signals, from its construction to the end of the process. One object at most.
class Interruption
{
public:
    Interruption();

    /// The signal that came, 0 if none did. A second one of the same kind ends the process as usual.
    int signalNumber() const;

    /// Waits until a descriptor can be read without blocking. Result: false if a signal came instead, even if it
    /// came before.
    bool waitForInput(int nFd) const;

private:
    int mFd = -1; // becomes readable with the signal
};

} // namespace demo

#endif
