// What the tests of streams share: streams built byte by byte with nothing of the streams' code,
// and scripts that make a case one line of a table.
#pragma once

#include <gmock/gmock.h>

#include <cstring>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "zynkconv.h"
#include "zynksdds.h"

inline std::string Word(unsigned long value) {
    std::string word;
    for (unsigned int shift = 32; shift != 0; shift -= 8)
        word += static_cast<char>(value >> (shift - 8));
    return word;
}

inline std::string Padded(std::string bytes) {
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

inline std::string Counted(const std::string& bytes) {
    return Word(bytes.size()) + Padded(bytes);
}

inline std::string Frame(unsigned long id, const std::string& payload) {
    return Word(id) + Word(8 + payload.size()) + payload;
}

/// A closed stream around `body`.
inline std::string Whole(const std::string& body, unsigned short ccsid = 1252,
                         ZynStream::Knd kind = ZynStream::Plain) {
    std::string work;
    if (kind == ZynStream::InternalRuntimeMessage) {
        const int numbers[] = {1, 120, 546, ccsid, 0}; // in the byte order of the host
        const std::string host(reinterpret_cast<const char*>(numbers), sizeof numbers);
        work = "WIH " + host.substr(0, 16) + "ZYN     " + host.substr(16) + std::string(40, ' ') +
               std::string(16, '\0') + std::string(32, ' ');
    }
    return work + Word(0) + (work.empty() ? "ZNID" : "ZNRM") + Word(0x03050000) +
           Word(work.size() + 20 + body.size()) + Word(ccsid) + body;
}

/// `n` bytes that a string can hold.
inline std::string Text(unsigned long n) {
    return std::string(n, static_cast<char>(1 + n % 255));
}

inline std::string FromHex(std::string digits) {
    std::erase(digits, ' ');
    const ZynBinary bytes = ZynBinary::FromHexString(digits.c_str());
    return {bytes.Data(), bytes.Length()};
}

/// The bytes of a stream, which is closed for that; the given cursor stays where it is.
inline std::string Sent(ZynStream stream) {
    stream.Close();
    return {stream.PreWrite(), stream.Length()};
}

inline ZynStream Received(const std::string& bytes) {
    ZynStream stream(bytes.size(), ZynStream::Unknown);
    bytes.copy(stream.PreRead(bytes.size()), bytes.size());
    stream.PostRead(bytes.size());
    return stream;
}

/// The text of the failed check, or of the stream's exception with a blank behind it; else empty.
template <class Call>
std::string Failure(Call call) {
    try {
        call();
        return "";
    } catch (const std::string& word) {
        return word;
    } catch (const ZynStream::Exception& failure) {
        return failure.AsString().C_str() + std::strlen("ZynStream::Exc") + std::string(" ");
    } catch (const ZynAssertionException& failure) {
        const std::string text = failure.Condition().C_str();
        return text.substr(4, text.find(' ', 4) - 4) + text.substr(text.find("):") + 1);
    }
}

/// Does, with a cursor of its own, what a script says word by word, each an operation and a number:
/// "long7" writes a value, "(5" and ")" enclose a parameter, "{1" and "}" a substream of kind 1
/// that is written in place, "<1" and "}" one that is written apart. With "=" ahead they are read;
/// "[5" and "]" are short for "=(5" and "=)".
class Player {
  public:
    explicit Player(const ZynStream& stream) : _streams{stream} {}

    /// Where the cursor ends and, if it is so, "eof" and "open"; or the word that does not find
    /// what it says; or the failure and, if the bytes are to blame, where it leaves the cursor.
    std::string Play(const std::string& script) {
        std::istringstream words(script);
        const std::string failure = Failure([&] {
            while (words >> _word) {
                const unsigned long first = Reads() ? 1 : 0;
                const unsigned long digits = _word.find_first_of("0123456789");
                _n = digits < _word.size() ? std::stoul(_word.substr(digits)) : 0;
                _operations.at(_word.substr(first, digits - first))();
            }
        });
        const std::string place = std::to_string(Top().CurrentPosition()) +
                                  (Top().Eof() ? " eof" : "") + (Top().Closed() ? "" : " open");
        return failure.empty() || failure.ends_with(' ') ? failure + place : failure;
    }

  private:
    ZynStream& Top() { return _streams.back(); }

    bool Reads() const { return _word.starts_with('='); }

    void Must(bool holds) const {
        if (!holds)
            throw _word;
    }

    template <class T>
    void Value(T value) {
        T read{};
        Reads() ? Top() >> read : Top() << value;
        Must(!Reads() || read == value);
    }

    void Fixed() {
        std::string bytes = Text(_n);
        Reads() ? Top().GetFixedOpaque(bytes.data(), _n) : Top().PutFixedOpaque(bytes.data(), _n);
        Must(bytes == Text(_n));
    }

    unsigned long Next() {
        unsigned long id = 0;
        Top().PrefetchNextParm(id);
        return id;
    }

    void Begin(bool inPlace) {
        ZynStream nested(8, ZynStream::Knd(_n), ZynConverter::GetCurrentOSCodePage());
        if (Reads())
            Top() >> nested;
        else if (inPlace)
            Top().StartSubstream(nested.Kind(), nested);
        Must(nested.Kind() == ZynStream::Knd(_n));
        _streams.push_back(nested);
    }

    void End() {
        ZynStream nested(Top());
        _streams.pop_back();
        Must(!Reads() || nested.Eof());
        nested.Close();
        if (!Reads())
            Top() << nested;
    }

    std::vector<ZynStream> _streams; // the innermost last
    std::string _word;
    unsigned long _n = 0;
    ZynStreamParmDescriptor _remembered;
    // clang-format off
    std::map<std::string, std::function<void()>> _operations = {
        {"long", [this] { Value(long{static_cast<int>(_n)}); }}, {"ulong", [this] { Value(_n); }},
        {"int", [this] { Value(static_cast<int>(_n)); }}, {"bool", [this] { Value(_n != 0); }},
        {"short", [this] { Value(static_cast<unsigned short>(_n)); }},
        {"float", [this] { Value(static_cast<float>(_n) / -2); }},
        {"double", [this] { Value(static_cast<double>(_n) / 2); }},
        {"string", [this] { Value(ZynString(Text(_n).c_str())); }},
        {"binary", [this] { Value(ZynBinary(Text(_n).data(), _n)); }},
        {"ask", [this] { Must(Top().GetVarOpaque(nullptr, 0) == _n); }},
        {"(", [this] { Reads() ? Top().StartParmDec(_n) : Top().StartParmEnc(_n); }},
        {")", [this] { Reads() ? Top().EndParmDec() : Top().EndParmEnc(); }},
        {"[", [this] { Top().StartParmDec(_n); }}, {"]", [this] { Top().EndParmDec(); }},
        {"{", [this] { Begin(true); }}, {"<", [this] { Begin(false); }}, {"}", [this] { End(); }},
        {"next", [this] { Must(Next() == _n); }}, {"skip", [this] { Top().SkipNextParm(); }},
        {"get", [this] { Top().GetParm(_remembered); }},
        {"jump", [this] { Top().PrefetchParm(_remembered); }},
        {"find", [this] { Must(Top().PrefetchParm(_n)); }}, {"fixed", [this] { Fixed(); }},
        {"start", [this] { Top().PositionToStart(); }}, {"end", [this] { Top().PositionToEnd(); }},
        {"to", [this] { Top().PositionTo(_n); }}, {"truncate", [this] { Top().Truncate(); }},
        {"clear", [this] { Top().Clear(); }}, {"close", [this] { Top().Close(); }},
        {"send", [this] { Top().PreWrite(); }}, {"index", [this] { Top().CreateIndex(); }},
        {"unindex", [this] { Top().DeleteIndex(); }},
        {"erase", [this] { Top().EraseParm(_n); }},
        {"unused", [this] { Must(Top().UnusedBytes() == _n); }},
    };
    // clang-format on
};

inline std::string Play(const ZynStream& stream, const std::string& script) {
    return Player(stream).Play(script);
}

/// The same on a stream that is received.
inline std::string Play(const std::string& bytes, const std::string& script) {
    ZynStream stream(8);
    const std::string failure = Failure([&] { stream = Received(bytes); });
    return failure.empty() ? Play(stream, script) : failure;
}
