// Packs an IPv4 header field by field, writes the checksum afterwards, and reads the header back.
#include "UtlBitStream.h"

#include <cstdio>
#include <cstring>

namespace
{

unsigned int const HEADER_SIZE = 20;  // bytes
int const CHECKSUM_POSITION = 10 * 8; // bits
int const DESTINATION_POSITION = 16 * 8;

// A datagram of 115 bytes, UDP, from 192.168.0.1 to 192.168.0.199, as captured.
unsigned char const CAPTURED[HEADER_SIZE] = {0x45, 0x00, 0x00, 0x73, 0x00, 0x00, 0x40, 0x00, 0x40, 0x11,
                                             0xB8, 0x61, 0xC0, 0xA8, 0x00, 0x01, 0xC0, 0xA8, 0x00, 0xC7};

// The one's complement of the one's complement sum of all 16-bit words.
unsigned short checksum(utl::BitStream& nHeader)
{
    unsigned int lSum = 0;
    for (int lPosition = 0; lPosition < static_cast<int>(HEADER_SIZE * 8); lPosition += 16)
    {
        lSum += nHeader.readBitToUint16(16, lPosition); // an absolute position: the current one stays
    }
    lSum = (lSum & 0xFFFFU) + (lSum >> 16);
    return static_cast<unsigned short>(~(lSum + (lSum >> 16)));
}

void writeHeader(utl::BitStream& nHeader)
{
    nHeader.writeBitToUint8(4, 4, -1);     // version
    nHeader.writeBitToUint8(5, 4, -1);     // header length in words
    nHeader.writeBitToUint8(0, 6, -1);     // service class
    nHeader.writeBitToUint8(0, 2, -1);     // congestion
    nHeader.writeBitToUint16(115, 16, -1); // total length
    nHeader.writeBitToUint16(0, 16, -1);   // identification
    nHeader.writeBitToUint8(2, 3, -1);     // flags: do not fragment
    nHeader.writeBitToUint16(0, 13, -1);   // fragment offset
    nHeader.writeBitToUint8(64, 8, -1);    // hops left
    nHeader.writeBitToUint8(17, 8, -1);    // protocol: UDP
    nHeader.seekBitOffset(16, 1);          // the checksum comes last
    nHeader.writeBitToUint32(0xC0A80001U, 32, -1);
    unsigned char const DESTINATION[] = {192, 168, 0, 199};
    nHeader.writeBitData(DESTINATION, 32, -1);
    nHeader.writeBitToUint16(checksum(nHeader), 16, CHECKSUM_POSITION);
}

bool readHeader(utl::BitStream& nHeader)
{
    nHeader.seekBitOffset(0, 0);
    unsigned int const lVersion = nHeader.readBitToUint8(4, -1);
    unsigned int const lWords = nHeader.readBitToUint8(4, -1);
    nHeader.seekBitOffset(8, 1);
    unsigned int const lLength = nHeader.readBitToUint16(16, -1);
    nHeader.seekBitOffset(16, 1);
    unsigned int const lFlags = nHeader.readBitToUint8(3, -1);
    unsigned int const lOffset = nHeader.readBitToUint16(13, -1);
    unsigned char lTo[4] = {};
    nHeader.readBitData(lTo, 32, DESTINATION_POSITION);
    std::printf("IPv%u, %u bytes of header, %u in all, flags %u, offset %u, to %u.%u.%u.%u, checksum %s\n", lVersion,
                lWords * 4, lLength, lFlags, lOffset, lTo[0], lTo[1], lTo[2], lTo[3],
                checksum(nHeader) == 0 ? "right" : "wrong");
    return lVersion == 4 && lWords * 4 == HEADER_SIZE && lLength == 115 && lFlags == 2 && lOffset == 0 &&
           lTo[3] == 199 && checksum(nHeader) == 0;
}

} // namespace

int main()
{
    unsigned char lBytes[HEADER_SIZE] = {};
    utl::BitStream lHeader(lBytes, HEADER_SIZE);
    writeHeader(lHeader);
    bool const lIsWritten = lHeader.getBitStreamSize() == HEADER_SIZE && lHeader.getBitPosition() == HEADER_SIZE * 8 &&
                            std::memcmp(lBytes, CAPTURED, HEADER_SIZE) == 0;
    std::printf("written %s the captured header\n", lIsWritten ? "like" : "unlike");

    // The same header three bits off a byte boundary, as in the middle of another packed record.
    unsigned char lRecord[HEADER_SIZE + 1] = {};
    utl::BitStream lOuter(lRecord, sizeof(lRecord));
    lOuter.writeBitToUint8(5, 3, -1);
    lOuter.writeBitData(lBytes, HEADER_SIZE * 8, -1);
    unsigned char lBack[HEADER_SIZE] = {};
    lOuter.readBitData(lBack, HEADER_SIZE * 8, 3);
    utl::BitStream lRead(lBack, HEADER_SIZE);
    return readHeader(lRead) && lIsWritten ? 0 : 1;
}
