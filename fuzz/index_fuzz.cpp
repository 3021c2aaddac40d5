// Received streams with an index: parameters are erased, renamed, replaced, added and compacted,
// beside a plain list of the frames.
#include <algorithm>
#include <set>
#include <vector>

#include "support/plain_stream.h"

namespace {

struct Parm {
    std::uint32_t id; ///< 0 if it is erased
    std::string payload;

    std::size_t Size() const { return zynfuzz::FrameHeadSize + payload.size(); }
    std::string Bytes() const {
        return zynfuzz::Word(id) + zynfuzz::Word(static_cast<std::uint32_t>(Size())) + payload;
    }
};

// The frames of a stream's top level; none if it has something else there as well.
std::optional<std::vector<Parm>> ParmsOf(std::string_view bytes) {
    const zynfuzz::PlainHeader header(bytes);
    std::vector<Parm> parms;
    if (header.length < header.size)
        return std::nullopt;
    for (std::size_t at = header.size; at != header.length;) {
        const auto frame = zynfuzz::FrameAt(bytes, at, header.length);
        if (!frame || !frame->fits)
            return std::nullopt;
        parms.push_back({frame->id, std::string(bytes.substr(at + 8, frame->length - 8))});
        at += frame->length;
    }
    return parms;
}

bool HasTwoOfOneId(const std::vector<Parm>& parms) {
    std::set<std::uint32_t> ids;
    return !std::all_of(parms.begin(), parms.end(), [&](const Parm& parm) {
        return parm.id == 0 || ids.insert(parm.id).second;
    });
}

// The variable opaque value that a payload begins with.
std::optional<std::string> ValueOf(const std::string& payload) {
    if (payload.size() < 4 || zynfuzz::WordAt(payload, 0) > payload.size() - 4)
        return std::nullopt;
    return payload.substr(4, zynfuzz::WordAt(payload, 0));
}

std::string Padded(std::string bytes) {
    bytes.resize(zynfuzz::Padded(bytes.size()));
    return bytes;
}

// An indexed stream, and what must be in it.
class Record {
  public:
    Record(const ZynStream& stream, const std::vector<Parm>& parms)
        : _stream(stream), _start(stream.CurrentPosition()), _parms(parms) {}

    void Step(unsigned int operation, std::size_t choice, std::uint32_t id) {
        const std::uint32_t chosen = Chosen(choice);
        switch (operation % 8) {
        case 0:
            return Erase(chosen);
        case 1:
            return Rename(chosen, id);
        case 2:
            return Copy(id, chosen, false);
        case 3:
            return Copy(id, chosen, true);
        case 4:
            return Compact();
        case 5:
            return Add(id);
        case 6:
            return Truncate(choice);
        default:
            return Reopen();
        }
    }

    // What is read by the index, and what others would receive.
    void Check() {
        FUZZ_CHECK(_stream.UnusedBytes() == Unused());
        ZynStream sent(_stream);
        sent.PositionToStart();
        sent.Close();
        const std::string bytes(sent.PreWrite(), sent.Length());
        std::string body;
        for (const Parm& parm : _parms) {
            if (parm.id != 0)
                CheckPlace(parm, _start + body.size());
            body += parm.Bytes();
        }
        FUZZ_CHECK(bytes.substr(_start) == body);
        FUZZ_CHECK(zynfuzz::PlainHeader(bytes).length == bytes.size());
    }

  private:
    std::vector<Parm>::iterator Find(std::uint32_t id) {
        return id == 0 ? _parms.end()
                       : std::find_if(_parms.begin(), _parms.end(),
                                      [&](const Parm& parm) { return parm.id == id; });
    }
    bool Has(std::uint32_t id) { return Find(id) != _parms.end(); }

    // The id of one of the frames, or 0.
    std::uint32_t Chosen(std::size_t choice) const {
        return choice < _parms.size() ? _parms[choice].id : 0;
    }

    unsigned long Unused() const {
        unsigned long unused = 0;
        for (const Parm& parm : _parms)
            unused += parm.id == 0 ? parm.Size() : 0;
        return unused;
    }

    void CheckPlace(const Parm& parm, std::size_t position) const {
        ZynStream in(_stream);
        in.PositionToStart();
        FUZZ_CHECK(in.PrefetchParm(parm.id));
        in.StartParmDec(parm.id);
        FUZZ_CHECK(in.CurrentPosition() == position + zynfuzz::FrameHeadSize);
        in.EndParmDec();
        FUZZ_CHECK(in.CurrentPosition() == position + parm.Size());
        FUZZ_CHECK(in.IsAnyParmSetWithinSubrange(parm.id, parm.id));
    }

    void Erased(std::uint32_t id) {
        const auto parm = Find(id);
        if (parm == _parms.end())
            return;
        parm->id = 0;
        if (parm == _parms.end() - 1)
            _parms.pop_back();
    }

    void Erase(std::uint32_t id) {
        FUZZ_CHECK(_stream.EraseParm(id) == Has(id));
        Erased(id);
    }

    void Rename(std::uint32_t from, std::uint32_t to) {
        if (!Has(from) || to == 0)
            return;
        _stream.PositionToStart();
        _stream.PrefetchParm(from);
        _stream.StartParmDec(from);
        const bool isFree = from == to || !Has(to);
        FUZZ_CHECK(zynfuzz::FailedCheck([&] { _stream.ChangeParmId(to); }) ==
                   (isFree ? "" : "rc == true"));
        if (isFree)
            Find(from)->id = to;
    }

    // From this stream itself, by the cursor that writes or by another one.
    void Copy(std::uint32_t id, std::uint32_t from, bool isString) {
        if (id == 0)
            return;
        const auto found = Find(from);
        const bool isFound = found != _parms.end() && id != from;
        const Parm source = isFound ? *found : Parm{};
        const auto value = isFound ? ValueOf(source.payload) : std::nullopt;
        ZynStream other(_stream);
        other.PositionToStart();
        bool isContent = false;
        const std::string check = zynfuzz::FailedCheck([&] {
            isContent = zynfuzz::EndsIn<ZynStream::ExcContentError>(
                [&] { _stream.PutById(id, from, id % 2 == 0 ? other : _stream, isString); });
        });
        FUZZ_CHECK(check == (isFound ? "" : "found == true"));
        FUZZ_CHECK(isContent == (isFound && isString && !value));
        Erased(id);
        if (!isFound || isContent)
            return;
        const auto size = static_cast<std::uint32_t>(value ? value->size() : 0);
        _parms.push_back(
            {id, isString ? zynfuzz::Word(size) + Padded(*value) : Padded(source.payload)});
    }

    void Add(std::uint32_t id) {
        if (id == 0)
            return;
        _stream.PositionToEnd();
        const std::string check = zynfuzz::FailedCheck([&] { _stream.StartParmEnc(id); });
        FUZZ_CHECK(check == (Has(id) ? "rc == true" : ""));
        if (!check.empty())
            return;
        _stream << static_cast<unsigned long>(id);
        _stream.PutVarOpaque("added", 5); // a text would need a converter of the stream's code page
        _stream.EndParmEnc();
        _parms.push_back({id, zynfuzz::Word(id) + zynfuzz::Word(5) + Padded("added")});
    }

    // The frames in ascending order.
    void Compact() {
        if (Unused() != 0) {
            std::erase_if(_parms, [](const Parm& parm) { return parm.id == 0; });
            std::sort(_parms.begin(), _parms.end(),
                      [](const Parm& a, const Parm& b) { return a.id < b.id; });
        }
        _stream.PositionToStart();
        _stream.Compact(true);
    }

    // Behind the first `count` frames.
    void Truncate(std::size_t count) {
        _stream.PositionToStart();
        count = std::min(count, _parms.size());
        for (std::size_t i = 0; i < count; ++i) {
            ZynStreamParmDescriptor parm;
            _stream.GetParm(parm);
            FUZZ_CHECK(parm._id == _parms[i].id && parm._length == _parms[i].Size());
        }
        _stream.Truncate();
        _parms.resize(count);
    }

    void Reopen() {
        _stream.PositionToStart();
        _stream.DeleteIndex();
        _stream.CreateIndex();
        FUZZ_CHECK(_stream.Eof());
    }

    ZynStream _stream;
    std::size_t _start;
    std::vector<Parm> _parms;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t StepSize = 3;
    constexpr std::size_t MaxSteps = 24;
    zynfuzz::Input input(data, size);
    const std::string steps = input.Bytes(StepSize * (input.Byte() % MaxSteps));
    const std::string bytes = input.Rest();
    auto stream = zynfuzz::Received(bytes);
    if (!stream)
        return 0;
    const auto parms = ParmsOf(bytes);
    bool isContent = false;
    const std::string check = zynfuzz::FailedCheck([&] {
        isContent = zynfuzz::EndsIn<ZynStream::ExcContentError>([&] { stream->CreateIndex(); });
    });
    FUZZ_CHECK(stream->IsIndexed() == (check.empty() && !isContent));
    if (!stream->IsIndexed()) {
        FUZZ_CHECK(check.empty() ? !parms : check == "rc == true");
        return 0;
    }
    FUZZ_CHECK(parms && !HasTwoOfOneId(*parms));
    stream->PositionToStart();
    Record record(*stream, *parms);
    record.Check();
    for (std::size_t at = 0; at + StepSize <= steps.size(); at += StepSize) {
        const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(steps[at + i]); };
        record.Step(byte(0), byte(1) % 16U, byte(2));
        record.Check();
    }
    return 0;
}
