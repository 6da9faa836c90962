/// The fixed-size image of one message. Layer: message marshalling.
#ifndef UTL_THREAD_RAW_MSG_H
#define UTL_THREAD_RAW_MSG_H

#include "UtlMsg.h"

namespace utl
{

namespace internal
{
class RingImage;
}

/// Holds a message as bytes: the id in the first 4, then the values as they are in memory, without tags, lengths or
/// padding; the remaining bytes are whatever was there before. A pointer takes sizeof(void*) bytes. The image always
/// has maxSize() bytes and stays inside the process.
///
/// One object serves for many messages, one at a time: beginInput() and beginOutput(), which Msg::storeTo() and
/// restoreFrom() call, move the position behind the id and forget failures; they clear no bytes.
///
/// Caution: on a new or copied object both positions are 0, on the id: set() overwrites it and get() reads it; call
/// beginInput() or beginOutput() first.
///
/// Results:  false on failure. After a failure (no room, a null) every call fails until the next beginInput() or
///           beginOutput(). Only a text that is too long for the caller's buffer does not make later calls fail.
///           Nothing is logged, nothing grows.
/// Threads:  no lock; the owner guards every access.
/// Signals:  yes, for an object that is the handler's own; making and assigning one allocates.
/// Forks:    the child has a copy of its own.
/// Blocking: never.
class UTL_API ThreadRawMsg : public MsgDataBroker
{
public:
    /// nMaxSize: bytes of the image, its id included; below 4 counts as 4. The image is not cleared.
    explicit ThreadRawMsg(unsigned int nMaxSize);
    /// Copies the image, and starts at position 0 without a failure.
    ThreadRawMsg(ThreadRawMsg const& nOther);
    /// Copies capacity, image, positions and result. buffer() may change. An allocator's exception changes nothing.
    ThreadRawMsg& operator=(ThreadRawMsg const& nOther);
    ~ThreadRawMsg() override;

    bool beginInput() override;
    bool beginOutput() override;
    int getResult() override; ///< 0, or -1 after a failure.

    /// The id has its own place: positions and failures do not matter. Result: false for null only.
    bool setMsgId(int nMsgId) override;
    bool getMsgId(int* npMsgId) override;

    bool set(bool nValue) override;
    bool set(unsigned char nValue) override;
    bool set(unsigned short nValue) override;
    bool set(unsigned int nValue) override;
    bool set(unsigned long long nValue) override;
    bool set(signed char nValue) override;
    bool set(short nValue) override;
    bool set(int nValue) override;
    bool set(long long nValue) override;
    bool set(float nValue) override;
    bool set(double nValue) override;
    bool set(void* npValue) override;
    bool set(char const* npText) override;
    /// Caution: a wide text is measured before anything else, even after a failure; it must always be readable up to
    /// its terminator. getResult() tells of a failure beforehand. Null fails as everywhere.
    UTL_SHARP_EDGE("look at getResult() first")
    bool set(wchar_t const* npText) override;
    bool set(unsigned char const* npBytes, unsigned int nSize) override;

    bool get(bool* npValue) override; ///< Any byte but 0 is true.
    bool get(unsigned char* npValue) override;
    bool get(unsigned short* npValue) override;
    bool get(unsigned int* npValue) override;
    bool get(unsigned long long* npValue) override;
    bool get(signed char* npValue) override;
    bool get(short* npValue) override;
    bool get(int* npValue) override;
    bool get(long long* npValue) override;
    bool get(float* npValue) override;
    bool get(double* npValue) override;
    bool get(void** npValue) override;
    /// Caution: a text that does not fit nMaxLength, or has no terminator, gives false, but getResult() and
    /// restoreFrom() do not tell, and the next get() starts at the same place. Check this result.
    UTL_SHARP_EDGE("look at the result")
    bool get(char* npBuffer, unsigned int nMaxLength) override;
    /// Caution: as for narrow text.
    UTL_SHARP_EDGE("look at the result")
    bool get(wchar_t* npBuffer, unsigned int nMaxLength) override;
    bool get(unsigned char* npBuffer, unsigned int nSize) override;

    /// The length of the text at the output position, in characters with the terminator.
    /// Result: -1 if that is more than nMaxLength, or there is no terminator inside the image.
    int checkOutputStrLength(unsigned int nMaxLength) const;
    int checkOutputWideStrLength(unsigned int nMaxLength) const;

    /// The image, maxSize() bytes; owned by this object.
    unsigned char* buffer() { return mpBuffer; }
    unsigned char const* buffer() const { return mpBuffer; }
    unsigned int maxSize() const { return mMaxSize; } ///< The size of the image in bytes.

private:
    friend class internal::RingImage;

    /// An image in a block that internal::RingImage owns, and takes away again before this object is destroyed.
    ThreadRawMsg(unsigned char* npBuffer, unsigned int nSize);

    bool setBytes(void const* npBytes, unsigned long long nSize);
    bool getBytes(void* npTarget, unsigned long long nSize);
    template <class T>
    bool setValue(T nValue);
    template <class T>
    bool getValue(T* npValue);
    bool fail();

    // All guarded by the owner. The positions never exceed mMaxSize.
    unsigned char* mpBuffer; // mMaxSize bytes, owned
    unsigned int mMaxSize;   // bytes, at least 4
    unsigned int mInputPos;  // where the next set() writes
    unsigned int mOutputPos; // where the next get() reads
    int mResult;             // 0 or -1, for both directions
};

} // namespace utl

#endif
