// The printed forms of ZynStream.
#include <cctype>
#include <cstdio>
#include <ostream>
#include <string>

#include "zynksdds.h"
#include "zynkspac.h"

namespace {

void PrintHex(std::ostream& os, const char* bytes, unsigned long n) {
    constexpr char Digits[] = "0123456789ABCDEF";
    for (unsigned long i = 0; i < n; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        os << Digits[byte >> 4U] << Digits[byte & 0xFU];
    }
}

void PrintChars(std::ostream& os, const char* bytes, unsigned long n) {
    for (unsigned long i = 0; i < n; ++i)
        os << (std::isprint(static_cast<unsigned char>(bytes[i])) != 0 ? bytes[i] : '?') << '.';
}

const char* Indented(int indent) {
    return spaces(static_cast<unsigned long>(indent));
}

} // namespace

void ZynStream::StreamHeaderKeywordDelimited(std::ostream& os, int indent) const {
    const auto line = [&os, indent](const char* label, const std::string& value) {
        os << '\n' << Indented(indent) << label << value;
    };
    const auto address = [](const void* p) {
        char text[2 * sizeof p + 3];
        std::snprintf(text, sizeof text, "%p", p);
        return std::string(text);
    };
    const DataRep& rep = *_pMem;
    line("this=", address(this));
    line("_pMem->_header._kind=", std::to_string(rep._header._kind));
    line("_pMem->_header._version=", std::to_string(rep._header._version));
    line("_pMem->_header._release=", std::to_string(rep._header._release));
    line("_pMem->_header._modLevel=", std::to_string(rep._header._modLevel));
    line("_pMem->_header._streamCcsid=", std::to_string(rep._header._streamCcsid));
    line("_pMem->_header._streamLength=", std::to_string(rep._header._streamLength));
    line("_pMem->_closed=", std::to_string(static_cast<int>(rep._closed)));
    line("_pMem->_headerPos=", std::to_string(rep._headerPos));
    line("_pMem->_startPos=", std::to_string(rep._startPos));
    line("_pMem->_endPos=", std::to_string(rep._endPos));
    line("(char*)_pMem->_dynPtr=", address(static_cast<char*>(rep._dynPtr)));
    line("_pMem->_dynPtr.Size()=", std::to_string(rep._dynPtr.Size()));
}

void ZynStream::StreamKeywordDelimited(std::ostream& os, int indent) const {
    StreamHeaderKeywordDelimited(os, indent);
    const unsigned long start = _pMem->_startPos;
    const unsigned long n = start < _pMem->_endPos ? _pMem->_endPos - start : 0;
    os << '\n' << Indented(indent) << " hex  content=";
    PrintHex(os, At(start), n);
    os << '\n' << Indented(indent) << " char content=";
    PrintChars(os, At(start), n);
}

// Walks with a cursor of its own, so that this one stays where it is. The first frame without a
// payload inside the stream ends the output: it is for people who look at damaged streams.
void ZynStream::StreamKeywordDelimited2(std::ostream& os, int indent) const {
    StreamHeaderKeywordDelimited(os, indent);
    ZynStream walk(*this);
    walk.DropParms();
    walk._curPos = _pMem->_startPos;
    while (!walk.Eof()) {
        unsigned long id = 0;
        walk.PrefetchNextParm(id);
        const unsigned long length = walk._pNextParm->_length;
        os << '\n'
           << Indented(indent) << "id=" << std::to_string(id) << " len=" << std::to_string(length);
        const unsigned long payload = length - FrameHeadSize;
        if (payload < 1 || payload > _pMem->_endPos - walk._curPos) {
            os << " Warning: stream seems not to contain IDs and lengths";
            break;
        }
        os << '\n' << Indented(indent) << "hex =";
        PrintHex(os, At(walk._curPos), payload);
        os << '\n' << Indented(indent) << "char=";
        PrintChars(os, At(walk._curPos), payload);
        walk.SkipNextParm();
    }
}

std::ostream& operator<<(std::ostream& os, const ZynStream& stream) {
    os << "ZynStream {";
    stream.StreamKeywordDelimited(os, 0);
    return os << " }";
}
