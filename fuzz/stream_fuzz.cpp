// Received streams: a walk over all frames and over the values in them, beside one that looks at
// the plain bytes.
#include "support/plain_stream.h"
#include "zynkoids.h"

namespace {

// What is walked over: a stream, and behind it the zeros in its block, where a nested stream may
// look for its header.
struct Whole {
    std::string bytes;
    std::string block;
    zynfuzz::PlainHeader header;
    int depth; ///< of nested streams

    Whole(std::string_view stream, int level)
        : bytes(stream), block(stream), header(stream), depth(level) {
        constexpr std::size_t LeastBlock = 1024;
        block.resize(std::max(LeastBlock, std::bit_ceil(stream.size() + 4)));
    }
};

// Words at which values are still to be read in every way.
int wordsLeft = 0;

void WalkStream(const ZynStream& stream, const Whole& whole);

// The text that the call ends with, or the failure of the conversion.
template <class Call>
std::string TextOf(const Call& call) {
    ZynString text("before");
    try {
        call(text);
        return zynfuzz::Bytes(text);
    } catch (const ZynConverter::InvalidCodePage& failure) {
        FUZZ_CHECK(zynfuzz::Bytes(text) == "before");
        return zynfuzz::Bytes(failure.AsString());
    } catch (const ZynConverter::InsufficientBufferSize& failure) {
        FUZZ_CHECK(zynfuzz::Bytes(text) == "before");
        return zynfuzz::Bytes(failure.AsString());
    }
}

// The values at one place, each read by a cursor of its own.
class Values {
  public:
    Values(const ZynStream& in, const Whole& whole, std::size_t end)
        : _in(in), _whole(whole), _at(in.CurrentPosition()), _left(end - _at),
          _length(_left >= 4 ? zynfuzz::WordAt(whole.bytes, _at) : 0),
          _isVariable(_left >= 4 && _length <= _left - 4),
          _variable(_isVariable ? whole.bytes.substr(_at + 4, _length) : "before"),
          _variableSize(4 + zynfuzz::Padded(_length)) {}

    void Check() const {
        Numbers();
        Floats();
        for (std::size_t n = 0; n < 6; ++n)
            Fixed(n);
        for (const std::size_t max : {0U, 1U, 7U, 1000U})
            Variable(max);
        Binary();
        Text();
        Identifiers();
        constexpr int MaxDepth = 3;
        if (_whole.depth < MaxDepth)
            Nested();
    }

  private:
    // The call reads `size` bytes if it `can`; else it fails, and the cursor stays.
    template <class Call>
    void Read(bool can, std::size_t size, const Call& call) const {
        ZynStream in(_in);
        FUZZ_CHECK(zynfuzz::EndsIn<ZynStream::ExcContentError>([&] { call(in); }) == !can);
        FUZZ_CHECK(in.CurrentPosition() == _at + (can ? size : 0));
    }

    template <class T>
    T Number(std::size_t size) const {
        T value{};
        Read(_left >= size, size, [&](ZynStream& in) { in >> value; });
        return value;
    }

    void Numbers() const {
        const std::uint32_t word = _left >= 4 ? _length : 0;
        FUZZ_CHECK(Number<long>(4) == static_cast<std::int32_t>(word));
        FUZZ_CHECK(Number<unsigned long>(4) == word);
        FUZZ_CHECK(Number<int>(4) == static_cast<std::int32_t>(word));
        FUZZ_CHECK(Number<unsigned short>(4) == static_cast<unsigned short>(word));
        FUZZ_CHECK(Number<bool>(4) == (word != 0));
    }

    void Floats() const {
        const auto single = std::bit_cast<std::uint32_t>(Number<float>(4));
        FUZZ_CHECK(single == (_left >= 4 ? _length : 0));
        const auto value = std::bit_cast<std::uint64_t>(Number<double>(8));
        const std::string bytes = zynfuzz::Word(static_cast<std::uint32_t>(value >> 32U)) +
                                  zynfuzz::Word(static_cast<std::uint32_t>(value));
        FUZZ_CHECK(_left >= 8 ? _whole.bytes.substr(_at, 8) == bytes : value == 0);
    }

    // Neither the bytes nor the padding may be more than is left; the last value may lack some.
    void Fixed(std::size_t n) const {
        std::string buffer(n, 'x');
        const std::size_t padding = zynfuzz::Padded(n) - n;
        const bool can = n <= _left && padding <= _left;
        Read(can, n + padding, [&](ZynStream& in) { in.GetFixedOpaque(buffer.data(), n); });
        FUZZ_CHECK(buffer == (can ? _whole.bytes.substr(_at, n) : std::string(n, 'x')));
    }

    void Variable(std::size_t max) const {
        std::string buffer(max, 'x');
        unsigned long length = 0;
        const bool asks = max == 0 && _left >= 4 && _length != 0;
        const bool takes = _isVariable && _length <= max;
        Read(_isVariable || asks, takes ? _variableSize : 0,
             [&](ZynStream& in) { length = in.GetVarOpaque(buffer.data(), max); });
        FUZZ_CHECK(length == (_isVariable || asks ? _length : 0));
        const std::string expected = _isVariable ? _variable.substr(0, max) : "";
        FUZZ_CHECK(buffer == expected + std::string(max - expected.size(), 'x'));
    }

    void Binary() const {
        ZynBinary value("before", 6);
        Read(_isVariable, _variableSize, [&](ZynStream& in) { in >> value; });
        FUZZ_CHECK(zynfuzz::Bytes(value) == _variable);
    }

    void Text() const {
        const unsigned short ccsid = _whole.header.ccsid;
        const unsigned short own = ZynConverter::GetCurrentOSCodePage();
        ZynStream in(_in);
        if (ccsid == 0 || ccsid == own || !_isVariable) {
            const std::string text = TextOf([&](ZynString& value) {
                Read(_isVariable, _variableSize, [&](ZynStream& from) { from >> value; });
            });
            FUZZ_CHECK(text == zynfuzz::UpToNul(_variable));
            return;
        }
        const std::string text = TextOf([&](ZynString& value) { in >> value; });
        FUZZ_CHECK(text == TextOf([&](ZynString& value) {
                       ZynConverter(ccsid, own).Convert(_variable.data(), _length, value);
                   }));
    }

    // Bytes of another length are a contract failure; the identifier stays then as it was.
    template <class Id>
    std::string FailureOf(Id& id) const {
        ZynStream in(_in);
        bool isContent = false;
        const std::string check = zynfuzz::FailedCheck(
            [&] { isContent = zynfuzz::EndsIn<ZynStream::ExcContentError>([&] { in >> id; }); });
        FUZZ_CHECK(check.empty() || check == "actLen == sizeof(oid._data)");
        FUZZ_CHECK((check.empty() && !isContent) || id == Id());
        return isContent ? "content" : check;
    }

    void Identifiers() const {
        constexpr std::size_t Size = 16;
        ZynOID oid;
        const std::string failure = FailureOf(oid);
        FUZZ_CHECK((failure == "content") == !_isVariable);
        FUZZ_CHECK(failure.empty() == (_isVariable && _length == Size));
        FUZZ_CHECK(!failure.empty() || zynfuzz::Bytes(oid.AsBinary()) == _variable);
        ZynAIID composite;
        const std::string compositeFailure = FailureOf(composite);
        FUZZ_CHECK(failure.empty() || compositeFailure == failure);
    }

    void Nested() const {
        const std::string_view held = std::string_view(_whole.block).substr(_at);
        const zynfuzz::PlainHeader header(held);
        const bool can = _left >= zynfuzz::PlainHeaderSize && header.kind != ZynStream::Unknown &&
                         header.length >= header.size && header.length <= _left;
        ZynStream in(_in);
        ZynStream nested(8);
        FUZZ_CHECK(zynfuzz::EndsIn<ZynStream::Exception>([&] { in >> nested; }) == !can);
        FUZZ_CHECK(in.CurrentPosition() == _at + (can ? header.length : 0));
        if (can)
            WalkStream(nested, Whole(held.substr(0, header.length), _whole.depth + 1));
    }

    const ZynStream& _in;
    const Whole& _whole;
    std::size_t _at;
    std::size_t _left; ///< bytes up to the end of the innermost frame
    // Of the variable opaque value that may stand there.
    std::uint32_t _length;
    bool _isVariable;
    std::string _variable;
    std::size_t _variableSize;
};

class Frames {
  public:
    Frames(const ZynStream& in, const Whole& whole) : _in(in), _whole(whole) {}

    // Walks up to `end`, where the cursor then stands; false if the bytes are no frames.
    bool Walk(std::size_t end) {
        while (_in.CurrentPosition() != end)
            if (!WalkOne(end))
                return false;
        return true;
    }

  private:
    template <class Call>
    void FailsAt(std::size_t offset, const Call& call) const {
        ZynStream in(_in);
        const auto failure = zynfuzz::Caught<ZynStream::ExcContentError>([&] { call(in); });
        FUZZ_CHECK(failure && failure->Offset() == offset);
    }

    bool WalkOne(std::size_t end) {
        const std::size_t at = _in.CurrentPosition();
        const auto frame = zynfuzz::FrameAt(_whole.bytes, at, end);
        unsigned long id = 0;
        if (!frame) {
            FailsAt(at, [&](ZynStream& in) { in.PrefetchNextParm(id); });
            return false;
        }
        LookAhead(at, *frame);
        const std::size_t payload = at + zynfuzz::FrameHeadSize;
        if (!frame->fits) {
            FailsAt(payload, [&](ZynStream& in) { in.StartParmDec(frame->id); });
            FailsAt(payload, [&](ZynStream& in) { in.PrefetchNextParm(id).SkipNextParm(); });
            return false;
        }
        _in.StartParmDec(frame->id);
        FUZZ_CHECK(_in.CurrentPosition() == payload);
        const ZynStream start(_in);
        if (!Walk(at + frame->length))
            ReadValues(start, at + frame->length);
        _in.EndParmDec();
        FUZZ_CHECK(_in.CurrentPosition() == at + frame->length);
        return true;
    }

    // Without a step of the cursor itself.
    void LookAhead(std::size_t at, const zynfuzz::PlainFrame& frame) const {
        ZynStream in(_in);
        for (int i = 0; i < 2; ++i) {
            unsigned long id = 0;
            in.PrefetchNextParm(id);
            FUZZ_CHECK(id == frame.id);
        }
        const auto failure =
            zynfuzz::Caught<ZynStream::ExcParmMismatch>([&] { in.StartParmDec(frame.id ^ 1U); });
        FUZZ_CHECK(failure && failure->Offset() == at);
        if (!frame.fits)
            return;
        ZynStreamParmDescriptor place;
        in.GetParm(place);
        FUZZ_CHECK(place._id == frame.id && place._position == at && place._length == frame.length);
        FUZZ_CHECK(in.CurrentPosition() == at + frame.length);
    }

    void ReadValues(ZynStream in, std::size_t end) const {
        for (; in.CurrentPosition() <= end && wordsLeft > 0; --wordsLeft) {
            Values(in, _whole, end).Check();
            int word = 0;
            if (zynfuzz::EndsIn<ZynStream::ExcContentError>([&] { in >> word; }))
                return;
        }
    }

    ZynStream _in;
    const Whole& _whole;
};

void WalkStream(const ZynStream& stream, const Whole& whole) {
    FUZZ_CHECK(std::string(stream.PreWrite(), stream.Length()) ==
               whole.bytes.substr(0, whole.header.length));
    if (whole.header.length < whole.header.size) { // nothing can be read
        ZynStream in(stream);
        int word = 0;
        FUZZ_CHECK(zynfuzz::EndsIn<ZynStream::ExcContentError>([&] { in >> word; }));
        return;
    }
    Frames(stream, whole).Walk(whole.header.length);
    ZynStream out(8);
    out << stream;
    out.Close();
    ZynStream back(8);
    out >> back;
    FUZZ_CHECK(out.Eof() && back.Length() == stream.Length());
    FUZZ_CHECK(std::memcmp(back.PreWrite(), stream.PreWrite(), back.Length()) == 0);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int MaxWords = 16;
    zynfuzz::Input input(data, size);
    const std::string bytes = input.Rest();
    wordsLeft = MaxWords;
    if (const auto stream = zynfuzz::Received(bytes))
        WalkStream(*stream, Whole(bytes, 0));
    return 0;
}
