/// Bit fields in a caller's buffer. Layer: bit stream.
#ifndef UTL_BIT_STREAM_H
#define UTL_BIT_STREAM_H

#include "UtlMacros.h"

namespace utl
{

/// Reads and writes fields of 1 to 64 bits and runs of bytes at any bit offset. Bit 0 is the most significant bit of
/// the first byte, and the most significant bit of a value comes first.
///
///     unsigned char lHeader[2] = {};
///     BitStream lBits(lHeader, sizeof lHeader);
///     lBits.writeBitToUint8(5, 3, -1);                            // the value 5 in 3 bits
///     lBits.writeBitToUint16(1000, 13, -1);                       // in the 13 bits that follow
///     lBits.seekBitOffset(0, 0);
///     unsigned int const lVersion = lBits.readBitToUint8(3, -1);  // 5
///
/// Position:  nPosition is -1 for the current position, which then advances by the bits transferred. From 0 on it is an
///            absolute bit position, and the current one stays. Below -1 is an error.
/// Bounds:    reads and writes end at the buffer's end. The bit size is the furthest position that was written or
///            sought to; reads may go past it.
/// Errors:    one flag that stays set until clear() or setBitStream(). It has no getter, and nothing is logged. A call
///            that fails transfers nothing and moves nothing. While the flag is set, reads give 0 and writes do
///            nothing; seekBitOffset() works. Too many bits for the type, a position below -1, a range past the buffer
///            and null data are errors; 0 bits are none.
/// Ownership: the buffer is the caller's and must outlive its use here. No heap.
/// Threads:   one at a time uses an object.
/// Signals:   yes, for a stream and a buffer that are the handler's own.
/// Forks:     the child has a stream of its own, and a buffer unless that is shared memory.
/// Blocking:  never.
class UTL_API BitStream
{
public:
    /// Without a buffer: every transfer is an error.
    BitStream();

    /// As setBitStream().
    BitStream(unsigned char* npBuffer, unsigned int nSize);

    /// Caution: never returns; copying and assigning end in stack exhaustion. Pass a BitStream by reference, and make
    /// a second one over the same buffer with getBitStreamAddress().
    UTL_SHARP_EDGE("pass a BitStream by reference")
    BitStream(BitStream const& nOther);
    UTL_SHARP_EDGE("make a second one with getBitStreamAddress()")
    BitStream& operator=(BitStream const& nOther);

    ~BitStream();

    /// Starts over with a buffer of nSize bytes: position and bit size 0, no error. The buffer's content stays.
    /// Result: false for a null buffer or a size of 0: the stream is unchanged.
    bool setBitStream(unsigned char* npBuffer, unsigned int nSize);

    /// Sets the position to 0 and clears the error. nZeroFill: also sets the bit size and the whole buffer to 0.
    void clear(bool nZeroFill);

    unsigned char* getBitStreamAddress() const { return mpBuffer; } ///< The buffer.

    /// The bit size in bytes, rounded up.
    unsigned int getBitStreamSize() const { return mBitSize / 8 + (mBitSize % 8 != 0 ? 1U : 0U); }

    unsigned int getBitStreamBitSize() const { return mBitSize; } ///< The bit size.
    unsigned int getBitPosition() const { return mBitPosition; }  ///< The current position.

    /// Result: the bits in the low end of the value, zeros above them.
    unsigned char readBitToUint8(unsigned int nBits, int nPosition);
    unsigned short readBitToUint16(unsigned int nBits, int nPosition);
    unsigned int readBitToUint32(unsigned int nBits, int nPosition);
    unsigned long long readBitToUint64(unsigned int nBits, int nPosition);

    /// Writes the low bits of the value.
    void writeBitToUint8(unsigned char nValue, unsigned int nBits, int nPosition);
    void writeBitToUint16(unsigned short nValue, unsigned int nBits, int nPosition);
    void writeBitToUint32(unsigned int nValue, unsigned int nBits, int nPosition);
    void writeBitToUint64(unsigned long long nValue, unsigned int nBits, int nPosition);

    /// Reads a run of bits as bytes. If nBits is no multiple of 8, the remaining bits are at the top of the last byte,
    /// with zeros below.
    /// npData: room for nBits / 8 bytes, rounded up; must not overlap the buffer.
    void readBitData(unsigned char* npData, unsigned int nBits, int nPosition);

    /// Writes a run of bits in that form; of the last byte only the remaining bits are taken.
    void writeBitData(unsigned char const* npData, unsigned int nBits, int nPosition);

    /// Writes the bits of another stream, from its first one up to its bit size. The ranges must not overlap.
    /// Caution: on a byte boundary whole bytes are written, with the source's bits behind its bit size. Off a
    /// boundary the bits left over in the last byte are taken one place too low, and a last byte that is full is not
    /// written at all. writeBitData() with the source's address and bit size writes exactly its bits.
    /// Caution: a source set up over existing data has bit size 0, and nothing is copied; seek it to its end first.
    UTL_SHARP_EDGE("use writeBitData() with the address and the bit size of the source")
    void copy(BitStream const& nSource, int nPosition);

    /// Moves to nOffset bits from the start (nOrigin 0), the position (1) or the bit size (2), and raises the bit size
    /// to the new position. Backwards by wrap-around: an offset of -8U goes back a byte. Works while the error is set.
    /// Another origin and a target past the buffer set the error.
    void seekBitOffset(unsigned int nOffset, int nOrigin);

    /// Reads one bit, 0 or 1, at the position, which advances. Ignores the error flag.
    /// Caution: no bounds check, here and in writeCurBit(): outside the buffer this reads and writes memory of others.
    /// Use readBitToUint8() and writeBitToUint8() with 1 bit.
    UTL_SHARP_EDGE("use readBitToUint8() with 1 bit")
    unsigned char readCurBit();

    /// Writes one bit at the position, which advances. nBit: 0 clears the bit, any other value sets it.
    UTL_SHARP_EDGE("use writeBitToUint8() with 1 bit")
    void writeCurBit(unsigned char nBit);

private:
    unsigned long long readBits(unsigned int nMaxBits, unsigned int nBits, int nPosition);
    void writeBits(unsigned long long nValue, unsigned int nMaxBits, unsigned int nBits, int nPosition);
    unsigned int capacity() const;
    bool isInside(unsigned int nBits, int nPosition);
    unsigned int startOf(int nPosition) const;
    void advance(unsigned int nBits, int nPosition);
    void raiseBitSize(unsigned int nBitPosition);
    unsigned long long fetch(unsigned int nStart, unsigned int nBits) const;
    void store(unsigned long long nValue, unsigned int nStart, unsigned int nBits);
    void fetchBytes(unsigned char* npData, unsigned int nStart, unsigned int nCount) const;
    void storeBytes(unsigned char const* npData, unsigned int nStart, unsigned int nCount);

    unsigned char* mpBuffer;   // not owned
    unsigned int mByteSize;    // bytes of the buffer
    unsigned int mBitPosition; // bits from the start
    unsigned int mBitSize;     // the highest position reached by writing or seeking
    bool mHasError;
};

} // namespace utl

#endif
