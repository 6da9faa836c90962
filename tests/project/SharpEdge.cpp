// Must not compile where warnings are errors: uses a function with a sharp edge, and has asked to be told.
#include "UtlBitStream.h"

unsigned char readBit(utl::BitStream& nStream)
{
    return nStream.readCurBit();
}
