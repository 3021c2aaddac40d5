// Handles: texts and framed bytes that an outside caller gives for an identifier.
#include "support/fuzz.h"
#include "support/plain_base64.h"
#include "zynkoids.h"

namespace {

bool IsFramed(std::string_view bytes, char prefix, unsigned long length) {
    return bytes.size() == length && bytes.front() == prefix && bytes.back() == prefix;
}

// An activity implementation holds the frame of its activity instance.
bool IsCorrelation(std::string_view bytes) {
    return IsFramed(bytes, IdPrefix::ActImplCorrelID, ActImplCorrelID_BIN_LENGTH) &&
           IsFramed(bytes.substr(1, AIID_BIN_LENGTH), IdPrefix::AIID, AIID_BIN_LENGTH);
}

// Reads a handle; an identifier gives the same bytes again, and anything else is told to be none.
template <class Read, class Write>
void Check(bool isValid, const std::string& bytes, const Read& read, const Write& write) {
    try {
        const std::string again = write(read());
        FUZZ_CHECK(isValid);
        FUZZ_CHECK(again == bytes);
    } catch (const ZynExtExcINVALID_OID& failure) {
        FUZZ_CHECK(!isValid);
        FUZZ_CHECK(failure.ID() == 805);
    }
}

template <class Id>
void CheckText(bool isValid, const std::string& text, const std::string& bytes) {
    Check(
        isValid, bytes, [&] { return Id::FromExternalObjectHandle(zynfuzz::AsString(text)); },
        [](const Id& id) { return zynfuzz::Bytes(id.AsExternalObjectHandle().Base64Decode()); });
}

void CheckAll(const std::string& text) {
    const std::string bytes = zynfuzz::PlainDecode(text);
    const auto is = [&](char prefix, unsigned long length) {
        return IsFramed(bytes, prefix, length);
    };
    CheckText<ZynBTID>(is(IdPrefix::PTID, PTID_BIN_LENGTH), text, bytes);
    CheckText<ZynBIID>(is(IdPrefix::PIID, PIID_BIN_LENGTH), text, bytes);
    CheckText<ZynWIID>(is(IdPrefix::WIID, WIID_BIN_LENGTH), text, bytes);
    CheckText<ZynActImplCorrelID>(IsCorrelation(bytes), text, bytes);
    CheckText<ZynSessionID>(is(IdPrefix::SessionID, SessionID_BIN_LENGTH), text, bytes);
    CheckText<ZynTLID>(is(IdPrefix::TLID, TLID_BIN_LENGTH), text, bytes);
    CheckText<ZynILID>(is(IdPrefix::ILID, ILID_BIN_LENGTH), text, bytes);
    CheckText<ZynWLID>(is(IdPrefix::WLID, WLID_BIN_LENGTH), text, bytes);
    CheckText<ZynALID>(is(IdPrefix::ALID, ALID_BIN_LENGTH), text, bytes);
    CheckText<ZynIMID>(is(IdPrefix::IMID, IMID_BIN_LENGTH), text, bytes);
    const ZynBinary frame(bytes.data(), bytes.size());
    Check(
        is(IdPrefix::AIID, AIID_BIN_LENGTH), bytes,
        [&] { return ZynAIID::FromBinaryObjectHandle(frame); },
        [](const ZynAIID& id) { return zynfuzz::Bytes(id.AsBinaryObjectHandle()); });
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const std::string bytes = input.Rest();
    CheckAll(zynfuzz::UpToNul(bytes));
    CheckAll(zynfuzz::PlainEncode(bytes));
    return 0;
}
