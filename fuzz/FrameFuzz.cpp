// SPDX-License-Identifier: Apache-2.0
//
// Any packet as a frame, and taken apart for people: it has a problem exactly when the codec
// refuses it.

#include <nlohmann/json.hpp>
#include <vector>

#include "fuzz/Input.h"
#include "host/mox/Codec.h"
#include "host/mox/Frame.h"
#include "host/mox/WdsService.h"
#include "modem/FrameText.h"
#include "modem/FrameView.h"

void velo::fuzz::run(Bytes bytes) {
    Input input(bytes);
    modem::CapturedFrame captured;
    captured.time = input.value<std::uint64_t>();
    captured.client = input.value<std::uint32_t>();
    captured.direction =
        input.value<bool>() ? modem::Direction::FromModem : modem::Direction::ToModem;
    const Bytes packet = input.rest();
    captured.bytes.assign(packet.begin(), packet.end());

    const auto frame = mox::Frame::unpack(packet);
    const modem::FrameView view(packet);
    bool sound = frame.has_value();
    if (frame) {
        ensure(frame->pack() == captured.bytes, "a frame is packed as it was");
        const auto* message =
            mox::wdsService().find(static_cast<mox_message_kind>(frame->kind), frame->messageId);
        ensure(message == view.message, "the view knows the messages of the service");
        std::vector<std::uint8_t> structure(message == nullptr ? 0 : message->size);
        sound = message == nullptr || mox::decode(*message, frame->payload, structure.data());
    }
    ensure(view.problems.empty() == sound, "the view and the codec agree");
    modem::frameText(captured);
    modem::frameJson(captured).dump(-1, ' ', false,
                                    nlohmann::ordered_json::error_handler_t::replace);
}
