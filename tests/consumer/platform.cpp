// What a platform brings in a shared library of its own, linked behind utl.
extern unsigned int gBinaryLines;
unsigned int gBinaryLines = 0;

extern "C" void BinaryLogWrite(int nKind, char const*, unsigned int nLength)
{
    gBinaryLines += nKind == 3 && nLength == 7 ? 1U : 0U;
}
