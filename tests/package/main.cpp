// Writes a number into parameter 5 of a stream and reads it back, with nothing but what is
// installed.
#include <zynkern/zynkern.h>

#include <cstdio>
#include <cstring>

int main() {
    static const unsigned char expected[] = {
        0x00, 0x00, 0x00, 0x00, 'Z',  'N',  'I',  'D',  // link, eye catcher
        0x03, 0x05, 0x00, 0x00, 0x00, 0x00, 0x00, 0x20, // version, flags, length
        0x00, 0x00, 0x04, 0xE4, 0x00, 0x00, 0x00, 0x05, // code page 1252, parameter 5
        0x00, 0x00, 0x00, 0x0C, 0x00, 0x00, 0x00, 0x07, // its length, its value
    };

    ZynStream stream(256, ZynStream::Plain, 1252);
    stream.StartParmEnc(5);
    stream << 7L;
    stream.EndParmEnc();
    stream.Close();

    long value = 0;
    stream.StartParmDec(5);
    stream >> value;
    stream.EndParmDec();
    if (value != 7) {
        std::printf("read %ld where 7 was written\n", value);
        return 1;
    }
    if (stream.Length() != sizeof expected ||
        std::memcmp(stream.PreWrite(), expected, sizeof expected) != 0) {
        std::puts("the stream's bytes are not the expected ones");
        return 1;
    }
    return 0;
}
