// Base64 of binaries, and texts that somebody takes for it.
#include "support/fuzz.h"
#include "support/plain_base64.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    zynfuzz::Input input(data, size);
    const std::string bytes = input.Rest();
    const ZynString text = ZynString::Base64Encode(ZynBinary(bytes.data(), bytes.size()));
    FUZZ_CHECK(zynfuzz::Bytes(text) == zynfuzz::PlainEncode(bytes));
    FUZZ_CHECK(zynfuzz::Bytes(text.Base64Decode()) == bytes);

    const ZynString wild = zynfuzz::AsString(bytes);
    FUZZ_CHECK(zynfuzz::Bytes(wild.Base64Decode()) ==
               zynfuzz::PlainDecode(zynfuzz::UpToNul(bytes)));
    return 0;
}
