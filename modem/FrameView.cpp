// SPDX-License-Identifier: Apache-2.0

#include "modem/FrameView.h"

#include <algorithm>
#include <array>
#include <bitset>
#include <cstdio>
#include <utility>

#include "host/mox/Frame.h"
#include "host/mox/WdsService.h"

namespace velo::modem {

namespace {

using mox::Field;
using mox::FieldKind;
using Item = FrameView::Item;
using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kTagCount = 256;
constexpr std::size_t kFieldHead = 3;
constexpr std::array kKindNames{"request", "response", "indication"};

std::string hex(unsigned int value, int digits) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%0*X", digits, value);
    return text.data();
}

std::uint64_t number(Bytes bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = bytes.size(); i-- > 0;) {
        value = value << 8 | bytes[i];
    }
    return value;
}

/// Takes values from the bytes of one field and remembers the first thing that is wrong.
class FieldReader {
public:
    explicit FieldReader(Bytes bytes) : mRest(bytes) {}

    const std::string& problem() const { return mProblem; }

    void readAll(const Field& field, Item& item) {
        read(field, item, mRest.size());
        if (mProblem.empty() && !mRest.empty()) {
            mProblem = "has " + std::to_string(mRest.size()) + " bytes too many";
        }
    }

private:
    /// What there is too little of is shown as it is.
    bool take(std::size_t length, Bytes& part, Item& item) {
        if (mRest.size() < length) {
            mProblem = "is cut short";
            item.value = std::vector<std::uint8_t>(mRest.begin(), mRest.end());
            return false;
        }
        part = mRest.first(length);
        mRest = mRest.subspan(length);
        return true;
    }

    /// `length` is that of a string. False when nothing can be read after this.
    bool read(const Field& field, Item& item, std::size_t length) {
        item.field = &field;
        switch (field.kind) {
            case FieldKind::String:
                return readString(field, item, length);
            case FieldKind::Record:
                return readRecord(field, item);
            case FieldKind::List:
                return readList(field, item);
            default:
                break;
        }
        Bytes part;
        if (!take(field.size, part, item)) {
            return false;
        }
        item.value = number(part);
        return true;
    }

    bool readString(const Field& field, Item& item, std::size_t length) {
        Bytes part;
        if (!take(length, part, item)) {
            return false;
        }
        item.value = std::string(part.begin(), part.end());
        if (length >= field.size) {
            mProblem = "has " + std::to_string(length) + " bytes, more than " +
                       std::to_string(field.size - 1);
        } else if (std::find(part.begin(), part.end(), 0) != part.end()) {
            mProblem = "has a terminator inside";
        }
        return mProblem.empty();
    }

    bool readRecord(const Field& field, Item& item) {
        auto& items = item.value.emplace<std::vector<Item>>();
        for (const Field& element : field.elements) {
            auto& child = items.emplace_back(Item{element.name, {}, nullptr});
            std::size_t length = 0;
            if (element.kind == FieldKind::String) {
                Bytes part;
                if (!take(sizeof(std::uint16_t), part, child)) {
                    return false;
                }
                length = static_cast<std::size_t>(number(part));
            }
            if (!read(element, child, length)) {
                return false;
            }
        }
        return true;
    }

    bool readList(const Field& field, Item& item) {
        Bytes part;
        if (!take(sizeof(std::uint32_t), part, item)) {
            return false;
        }
        auto& items = item.value.emplace<std::vector<Item>>();
        const std::uint64_t count = number(part);
        if (count > field.limit) {
            mProblem = "claims " + std::to_string(count) + " entries, more than " +
                       std::to_string(field.limit);
            return false;
        }
        for (std::uint64_t i = 0; i < count; ++i) {
            auto& entry = items.emplace_back(Item{"[" + std::to_string(i) + "]", {}, &field});
            if (!readRecord(field, entry)) {
                return false;
            }
        }
        return true;
    }

    Bytes mRest;
    std::string mProblem;
};

const Field* findField(const mox::MessageDefinition& message, std::uint8_t tag) {
    const auto found = std::find_if(message.fields.begin(), message.fields.end(),
                                    [tag](const Field& field) { return field.tag == tag; });
    return found == message.fields.end() ? nullptr : &*found;
}

std::vector<std::uint8_t> copy(Bytes bytes) {
    return {bytes.begin(), bytes.end()};
}

/// The fields of a payload; one that is damaged does not hide the next.
void readFields(FrameView& view, Bytes payload) {
    std::bitset<kTagCount> seen;
    while (!payload.empty()) {
        if (payload.size() < kFieldHead) {
            view.problems.emplace_back("the last field is cut short");
            view.items.push_back({"rest", copy(payload), nullptr});
            break;
        }
        const std::uint8_t tag = payload[0];
        const auto length = static_cast<std::size_t>(number(payload.subspan(1, 2)));
        payload = payload.subspan(kFieldHead);
        const auto content = payload.first(std::min(length, payload.size()));
        const Field* field = findField(*view.message, tag);
        const std::string name = field != nullptr ? field->name : "unknown tag " + hex(tag, 2);
        Item item{name, copy(content), nullptr};
        if (content.size() < length) {
            view.problems.push_back(name + " is cut short");
        } else if (field != nullptr) {
            FieldReader reader(content);
            reader.readAll(*field, item);
            if (!reader.problem().empty()) {
                view.problems.push_back(name + " " + reader.problem());
            }
            if (seen.test(tag)) {
                view.problems.push_back(name + " appears twice");
            }
            seen.set(tag);
        }
        view.items.push_back(std::move(item));
        payload = payload.subspan(content.size());
    }
    for (const Field& field : view.message->fields) {
        if (!field.optional() && !seen.test(field.tag)) {
            view.problems.push_back(std::string(field.name) + " is missing");
        }
    }
}

}  // namespace

FrameView::FrameView(Bytes frame) {
    if (frame.size() < mox::Frame::kHeaderSize) {
        problems.emplace_back("the header is cut short");
        items.push_back({"rest", copy(frame), nullptr});
        return;
    }
    hasHeader = true;
    kind = frame[0];
    transaction = static_cast<std::uint32_t>(number(frame.subspan(1, 4)));
    messageId = static_cast<std::uint16_t>(number(frame.subspan(5, 2)));
    const std::uint64_t length = number(frame.subspan(7, 4));
    const auto payload = frame.subspan(mox::Frame::kHeaderSize);
    if (kind >= kKindNames.size()) {
        problems.emplace_back("the kind is unknown");
    } else {
        message = mox::wdsService().find(static_cast<mox_message_kind>(kind), messageId);
    }
    if (length != payload.size()) {
        problems.push_back("the header claims " + std::to_string(length) +
                           " bytes of payload, there are " + std::to_string(payload.size()));
    }
    if (message != nullptr) {
        readFields(*this, payload);
    } else if (!payload.empty()) {
        items.push_back({"payload", copy(payload), nullptr});
    }
}

std::string FrameView::messageName() const {
    if (!hasHeader) {
        return "frame without a header";
    }
    return message != nullptr ? message->name
                              : "unknown message " + hex(messageId, 4) + " " + kindName();
}

std::string FrameView::kindName() const {
    if (!hasHeader) {
        return "none";
    }
    return kind < kKindNames.size() ? kKindNames[kind] : "kind " + std::to_string(kind);
}

const char* valueName(const Field& field, std::uint64_t value) {
    for (const auto& name : field.names) {
        if (name.value == value) {
            return name.name;
        }
    }
    return nullptr;
}

}  // namespace velo::modem
