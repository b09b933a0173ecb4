// SPDX-License-Identifier: Apache-2.0

#include "host/mox/Codec.h"

#include <bitset>
#include <cstring>
#include <limits>

namespace velo::mox {

namespace {

constexpr std::size_t kTagCount = 256;

/// Whether a string is the whole of its field, or one element among others and needs its length
/// told.
enum class Place { Field, Element };

template <typename T>
std::uint64_t load(const std::uint8_t* at) {
    T value;
    std::memcpy(&value, at, sizeof(value));
    return value;
}

template <typename T>
void store(std::uint8_t* at, std::uint64_t value) {
    const T narrow = static_cast<T>(value);
    std::memcpy(at, &narrow, sizeof(narrow));
}

class Encoder {
public:
    explicit Encoder(std::vector<std::uint8_t>& bytes) : mBytes(bytes) {}

    bool field(const Field& field, const std::uint8_t* base) {
        mBytes.push_back(field.tag);
        const std::size_t lengthAt = mBytes.size();
        number(0, 2);
        if (!value(field, base, Place::Field)) {
            return false;
        }
        const std::size_t length = mBytes.size() - lengthAt - 2;
        mBytes[lengthAt] = static_cast<std::uint8_t>(length);
        mBytes[lengthAt + 1] = static_cast<std::uint8_t>(length >> 8);
        return length <= std::numeric_limits<std::uint16_t>::max();
    }

private:
    void number(std::uint64_t value, std::size_t width) {
        for (std::size_t i = 0; i < width; ++i) {
            mBytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
        }
    }

    bool value(const Field& field, const std::uint8_t* base, Place place) {
        const std::uint8_t* at = base + field.value;
        switch (field.kind) {
            case FieldKind::String:
                string(field, at, place);
                return true;
            case FieldKind::Record:
                return record(field, at);
            case FieldKind::List:
                return list(field, base);
            default:
                number(loadScalar(field, at), field.size);
                return true;
        }
    }

    void string(const Field& field, const std::uint8_t* at, Place place) {
        const std::size_t length = strnlen(reinterpret_cast<const char*>(at), field.size - 1);
        if (place == Place::Element) {
            number(length, 2);
        }
        mBytes.insert(mBytes.end(), at, at + length);
    }

    bool record(const Field& field, const std::uint8_t* at) {
        for (const Field& element : field.elements) {
            if (!value(element, at, Place::Element)) {
                return false;
            }
        }
        return true;
    }

    bool list(const Field& field, const std::uint8_t* base) {
        const std::uint64_t count = load<std::uint32_t>(base + field.count);
        if (count > field.limit) {
            return false;
        }
        number(count, 4);
        for (std::size_t i = 0; i < count; ++i) {
            if (!record(field, base + field.value + i * field.size)) {
                return false;
            }
        }
        return true;
    }

    std::vector<std::uint8_t>& mBytes;
};

class Decoder {
public:
    explicit Decoder(std::span<const std::uint8_t> bytes) : mRest(bytes) {}

    bool atEnd() const { return mRest.empty(); }

    bool number(std::uint64_t& value, std::size_t width) {
        if (mRest.size() < width) {
            return false;
        }
        value = 0;
        for (std::size_t i = 0; i < width; ++i) {
            value |= static_cast<std::uint64_t>(mRest[i]) << (8 * i);
        }
        mRest = mRest.subspan(width);
        return true;
    }

    bool take(std::size_t length, std::span<const std::uint8_t>& part) {
        if (mRest.size() < length) {
            return false;
        }
        part = mRest.first(length);
        mRest = mRest.subspan(length);
        return true;
    }

    bool value(const Field& field, std::uint8_t* base, Place place) {
        std::uint8_t* at = base + field.value;
        switch (field.kind) {
            case FieldKind::String:
                return string(field, at, place);
            case FieldKind::Record:
                return record(field, at);
            case FieldKind::List:
                return list(field, base);
            default:
                return scalar(field, at);
        }
    }

private:
    bool scalar(const Field& field, std::uint8_t* at) {
        std::uint64_t value = 0;
        if (!number(value, field.size)) {
            return false;
        }
        storeScalar(field, at, value);
        return true;
    }

    bool string(const Field& field, std::uint8_t* at, Place place) {
        std::uint64_t length = mRest.size();
        if (place == Place::Element && !number(length, 2)) {
            return false;
        }
        std::span<const std::uint8_t> text;
        if (length >= field.size || !take(static_cast<std::size_t>(length), text)) {
            return false;
        }
        if (!text.empty()) {
            std::memcpy(at, text.data(), text.size());
        }
        // A terminator inside would hide the rest of the string from its reader.
        return std::strlen(reinterpret_cast<const char*>(at)) == length;
    }

    bool record(const Field& field, std::uint8_t* at) {
        for (const Field& element : field.elements) {
            if (!value(element, at, Place::Element)) {
                return false;
            }
        }
        return true;
    }

    bool list(const Field& field, std::uint8_t* base) {
        std::uint64_t count = 0;
        if (!number(count, 4) || count > field.limit) {
            return false;
        }
        store<std::uint32_t>(base + field.count, count);
        for (std::size_t i = 0; i < count; ++i) {
            if (!record(field, base + field.value + i * field.size)) {
                return false;
            }
        }
        return true;
    }

    std::span<const std::uint8_t> mRest;
};

/// Fields mostly arrive in the order of the table, so the search goes on where the last one was
/// found.
const Field* findField(std::span<const Field> fields, std::uint64_t tag, std::size_t& next) {
    for (std::size_t tried = 0; tried < fields.size(); ++tried) {
        const std::size_t index = (next + tried) % fields.size();
        if (fields[index].tag == tag) {
            next = index + 1;
            return &fields[index];
        }
    }
    return nullptr;
}

bool decodeFields(const MessageDefinition& message, std::span<const std::uint8_t> bytes,
                  std::uint8_t* base) {
    std::bitset<kTagCount> seen;
    std::size_t next = 0;
    Decoder decoder(bytes);
    while (!decoder.atEnd()) {
        std::uint64_t tag = 0;
        std::uint64_t length = 0;
        std::span<const std::uint8_t> content;
        if (!decoder.number(tag, 1) || !decoder.number(length, 2) ||
            !decoder.take(static_cast<std::size_t>(length), content)) {
            return false;
        }
        const Field* field = findField(message.fields, tag, next);
        if (field == nullptr) {
            continue;
        }
        Decoder inner(content);
        if (seen.test(field->tag) || !inner.value(*field, base, Place::Field) || !inner.atEnd()) {
            return false;
        }
        seen.set(field->tag);
        if (field->optional()) {
            base[field->flag] = 1;
        }
    }
    for (const Field& field : message.fields) {
        if (!field.optional() && !seen.test(field.tag)) {
            return false;
        }
    }
    return true;
}

}  // namespace

std::uint64_t loadScalar(const Field& field, const std::uint8_t* at) {
    switch (field.kind) {
        case FieldKind::U8:
            return *at;
        case FieldKind::U16:
            return load<std::uint16_t>(at);
        case FieldKind::U32:
            return load<std::uint32_t>(at);
        default:
            return load<std::uint64_t>(at);
    }
}

void storeScalar(const Field& field, std::uint8_t* at, std::uint64_t value) {
    switch (field.kind) {
        case FieldKind::U8:
            return store<std::uint8_t>(at, value);
        case FieldKind::U16:
            return store<std::uint16_t>(at, value);
        case FieldKind::U32:
            return store<std::uint32_t>(at, value);
        default:
            return store<std::uint64_t>(at, value);
    }
}

bool encode(const MessageDefinition& message, const void* structure,
            std::vector<std::uint8_t>& bytes) {
    const auto* base = static_cast<const std::uint8_t*>(structure);
    Encoder encoder(bytes);
    for (const Field& field : message.fields) {
        if (field.optional() && base[field.flag] == 0) {
            continue;
        }
        if (!encoder.field(field, base)) {
            return false;
        }
    }
    return true;
}

bool decode(const MessageDefinition& message, std::span<const std::uint8_t> bytes,
            void* structure) {
    std::memset(structure, 0, message.size);
    if (decodeFields(message, bytes, static_cast<std::uint8_t*>(structure))) {
        return true;
    }
    std::memset(structure, 0, message.size);
    return false;
}

}  // namespace velo::mox
