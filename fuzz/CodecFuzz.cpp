// SPDX-License-Identifier: Apache-2.0
//
// Any bytes as any message, and any structure as any message: what is accepted survives the way
// there and back, no more than the structure is touched, and people are told of a problem exactly
// when the message is refused.

#include <algorithm>
#include <memory>
#include <vector>

#include "fuzz/Input.h"
#include "host/mox/Codec.h"
#include "host/mox/Frame.h"
#include "host/mox/WdsService.h"
#include "modem/FrameView.h"

namespace velo::fuzz {
namespace {

/// Alone in its allocation, so that the address sanitizer guards both of its ends.
class Structure {
public:
    explicit Structure(const mox::MessageDefinition& message)
        : mMessage(message), mBytes(std::make_unique<std::uint8_t[]>(message.size)) {}

    void copy(Bytes bytes) { std::copy_n(bytes.begin(), std::min(bytes.size(), size()), at()); }
    bool decode(Bytes bytes) { return mox::decode(mMessage, bytes, at()); }
    bool encode(std::vector<std::uint8_t>& bytes) const {
        return mox::encode(mMessage, mBytes.get(), bytes);
    }
    bool empty() const {
        return std::all_of(at(), at() + size(), [](std::uint8_t byte) { return byte == 0; });
    }
    bool operator==(const Structure& other) const {
        return std::equal(at(), at() + size(), other.at());
    }

private:
    std::uint8_t* at() const { return mBytes.get(); }
    std::size_t size() const { return mMessage.size; }

    const mox::MessageDefinition& mMessage;
    std::unique_ptr<std::uint8_t[]> mBytes;
};

void thereAndBack(const mox::MessageDefinition& message, const Structure& structure) {
    std::vector<std::uint8_t> bytes;
    Structure back(message);
    ensure(structure.encode(bytes), "what was decoded can be encoded");
    ensure(back.decode(bytes), "what was encoded can be decoded");
    ensure(back == structure, "a structure comes back as it was");
}

}  // namespace

void run(Bytes bytes) {
    const auto messages = mox::wdsService().messages;
    Input input(bytes);
    const auto& message = messages[input.value<std::uint8_t>() % messages.size()];
    const Bytes rest = input.rest();

    Structure structure(message);
    const bool isGood = structure.decode(rest);
    const mox::Frame frame{
        static_cast<std::uint8_t>(message.kind), 7, message.id, {rest.begin(), rest.end()}};
    ensure(modem::FrameView(frame.pack()).problems.empty() == isGood,
           "the view and the codec agree");
    if (isGood) {
        thereAndBack(message, structure);
    } else {
        ensure(structure.empty(), "a refused message leaves nothing behind");
    }

    structure.copy(rest);
    std::vector<std::uint8_t> encoded;
    if (structure.encode(encoded)) {
        Structure clean(message);
        ensure(clean.decode(encoded), "whatever was encoded can be decoded");
        thereAndBack(message, clean);
    }
}

}  // namespace velo::fuzz
