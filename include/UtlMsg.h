/// Messages, the interface that flattens them into bytes, and the reserved message ids. Layer: message marshalling.
#ifndef UTL_MSG_H
#define UTL_MSG_H

#include "UtlMacros.h"

namespace utl
{

// Ids from 0x80000000 to 0x80000800 are reserved for the library. Applications may use all others.
constexpr int MSG_ID_NONE = static_cast<int>(0x80000000U);            ///< No message.
constexpr int MSG_ID_ANY = static_cast<int>(0x80000001U);             ///< For a search: matches every message.
constexpr int MSG_ID_TIMER = static_cast<int>(0x80000002U);           ///< A time-out, as a listener sees it: TimerMsg.
constexpr int MSG_ID_OUT_OF_BAND = static_cast<int>(0x80000004U);     ///< An interrupt, erase or find is pending.
constexpr int MSG_ID_SYNC = static_cast<int>(0x80000005U);            ///< Sent synchronously; the image has the id.
constexpr int MSG_ID_START_TIMER = static_cast<int>(0x80000006U);     ///< Start a timer on the message thread.
constexpr int MSG_ID_STOP_TIMER = static_cast<int>(0x80000007U);      ///< Stop a timer on the message thread.
constexpr int MSG_ID_TIMEOUT = static_cast<int>(0x80000008U);         ///< A time-out waits for its dispatch.
constexpr int MSG_ID_STOP_THREAD = static_cast<int>(0x80000009U);     ///< Look at the stop request.
constexpr int MSG_ID_TIMEOUT_SIGNAL = static_cast<int>(0x80000013U);  ///< From the signal handler, on the pipe only.
constexpr int MSG_ID_ATTACH_LISTENER = static_cast<int>(0x80000021U); ///< Shared message thread: attach a listener.
constexpr int MSG_ID_DETACH_LISTENER = static_cast<int>(0x80000022U); ///< Shared message thread: detach a listener.
constexpr int MSG_ID_SPECIFIED_LISTENER = static_cast<int>(0x80000023U); ///< Shared message thread: for one listener.
// On a Worker's thread these are the ids of its inboxes. On any other thread they are ids like all others.
constexpr int MSG_ID_WORKER_FIRST = static_cast<int>(0x80001000U); ///< The first id of inboxes.
constexpr int MSG_ID_WORKER_LAST = static_cast<int>(0x80001FFFU);  ///< The last id of inboxes.
constexpr int MSG_ID_FIRST_USER = static_cast<int>(0x80000801U);   ///< The first id that is not reserved.

/// Where messages write their values with set() and read them back with get(), in the same order with the same types:
/// the broker does not store the types. "Input" is into the broker, "output" out of it.
///
/// Results: true on success. The first failure makes all further set() or get() calls fail, so that a message need
///          not check each; getResult() tells in the end.
/// Safety:  that of the class behind it; see ThreadRawMsg.
///
/// Caution: there is no overload for a plain char or for a pointer to constant data. set('x') stores an int and
/// set(a T const*) a bool; cast to signed char, or to void*.
class UTL_API MsgDataBroker
{
public:
    MsgDataBroker() = default;
    MsgDataBroker(MsgDataBroker const&) = default;
    MsgDataBroker& operator=(MsgDataBroker const&) = default;
    virtual ~MsgDataBroker();

    // The order of the virtual functions is fixed.
    virtual bool beginInput();  ///< Before the first set().
    virtual bool endInput();    ///< After the last set().
    virtual bool beginOutput(); ///< Before the first get().
    virtual bool endOutput();   ///< After the last get().
    virtual int getResult();    ///< 0 if nothing has failed.

    virtual bool setMsgId(int nMsgId) = 0;   ///< Stores the id, in its own place.
    virtual bool getMsgId(int* npMsgId) = 0; ///< Reads the id.

    /// Appends a value.
    virtual bool set(bool nValue) = 0;
    virtual bool set(unsigned char nValue) = 0;
    virtual bool set(unsigned short nValue) = 0;
    virtual bool set(unsigned int nValue) = 0;
    virtual bool set(unsigned long long nValue) = 0;
    virtual bool set(signed char nValue) = 0;
    virtual bool set(short nValue) = 0;
    virtual bool set(int nValue) = 0;
    virtual bool set(long long nValue) = 0;
    virtual bool set(float nValue) = 0;
    virtual bool set(double nValue) = 0;
    virtual bool set(void* npValue) = 0; ///< The pointer itself, sizeof(void*) bytes; what it points to is not copied.
    virtual bool set(char const* npText) = 0;    ///< The characters and the terminator.
    virtual bool set(wchar_t const* npText) = 0; ///< The same with 4 bytes each.
    virtual bool set(unsigned char const* npBytes,
                     unsigned int nSize) = 0; ///< Only the bytes; the size is not stored.

    /// Reads the next value.
    virtual bool get(bool* npValue) = 0;
    virtual bool get(unsigned char* npValue) = 0;
    virtual bool get(unsigned short* npValue) = 0;
    virtual bool get(unsigned int* npValue) = 0;
    virtual bool get(unsigned long long* npValue) = 0;
    virtual bool get(signed char* npValue) = 0;
    virtual bool get(short* npValue) = 0;
    virtual bool get(int* npValue) = 0;
    virtual bool get(long long* npValue) = 0;
    virtual bool get(float* npValue) = 0;
    virtual bool get(double* npValue) = 0;
    virtual bool get(void** npValue) = 0;
    virtual bool get(char* npBuffer, unsigned int nMaxLength) = 0;    ///< nMaxLength: characters with the terminator.
    virtual bool get(wchar_t* npBuffer, unsigned int nMaxLength) = 0; ///< The same in wide characters.
    virtual bool get(unsigned char* npBuffer, unsigned int nSize) = 0;
};

/// A message: an id, and the values that a derived class adds. A message never goes to another thread as an object: it
/// is flattened into a MsgDataBroker, and the receiver restores an object of the class that belongs to the id.
///
///     struct Card : Msg
///     {
///         Card() : Msg(7) {}
///         void storeDataTo(MsgDataBroker* npBroker) const override { npBroker->set(mNumber); }
///         void restoreDataFrom(MsgDataBroker& nBroker) override { nBroker.get(&mNumber); }
///         unsigned int mNumber = 0;
///     };
///
/// Safety: a value.
class UTL_API Msg
{
public:
    /// nMsgId: any id that is not reserved.
    explicit Msg(int nMsgId)
        : mMsgId(nMsgId)
    {
    }
    Msg(Msg const&) = default;
    Msg& operator=(Msg const&) = default;
    virtual ~Msg();

    /// Writes the values of the derived class with set(). storeTo() calls this.
    virtual void storeDataTo(MsgDataBroker* npBroker) const = 0;
    /// Reads these values with get() in the same order. restoreFrom() calls this.
    virtual void restoreDataFrom(MsgDataBroker& nBroker) = 0;

    /// Flattens id and values. Result: false for null, and if the broker's result is not 0 in the end.
    bool storeTo(MsgDataBroker* npBroker) const;

    /// Reads id and values from the broker. Result: false if the broker's result is not 0 in the end; the values
    /// read before the failure are then set.
    bool restoreFrom(MsgDataBroker& nBroker);

    int mMsgId; ///< tells what the message means
};

/// A message without values.
/// Safety: as Msg.
class UTL_API SimpleMsg : public Msg
{
public:
    /// nMsgId: any id that is not reserved.
    explicit SimpleMsg(int nMsgId)
        : Msg(nMsgId)
    {
    }
    ~SimpleMsg() override;

    void storeDataTo(MsgDataBroker* npBroker) const override;
    void restoreDataFrom(MsgDataBroker& nBroker) override;
};

/// A time-out, id MSG_ID_TIMER.
/// Safety: as Msg.
class UTL_API TimerMsg : public Msg
{
public:
    /// Belongs to no timer.
    TimerMsg()
        : Msg(MSG_ID_TIMER)
    {
    }
    ~TimerMsg() override;

    void storeDataTo(MsgDataBroker* npBroker) const override;
    void restoreDataFrom(MsgDataBroker& nBroker) override;

    int mTimerId = -1; ///< the id that setTimer() gave
};

} // namespace utl

#endif
