// SPDX-License-Identifier: Apache-2.0
// Values in a parcel; Parcel.cpp has the memory that they lie in.
#include <binder/Parcel.h>

#include <cstring>

namespace android {
namespace {

// In step with StrictMode.PENALTY_GATHER of the framework; receivers read the word and ignore it.
constexpr uint32_t kStrictModePenaltyGather = 1u << 31;
constexpr int32_t kUnsetWorkSource = -1;

constexpr int32_t kExceptionNone = 0;
constexpr int32_t kExceptionHasReplyHeader = -128;
constexpr int32_t kExceptionTransactionFailed = -129;

}  // namespace

template <typename T>
status_t Parcel::writeAligned(T value) {
    static_assert(sizeof(T) % 4 == 0);
    return write(&value, sizeof(T));
}

status_t Parcel::writeInt32(int32_t value) {
    return writeAligned(value);
}
status_t Parcel::writeUint32(uint32_t value) {
    return writeAligned(value);
}
status_t Parcel::writeInt64(int64_t value) {
    return writeAligned(value);
}
status_t Parcel::writeUint64(uint64_t value) {
    return writeAligned(value);
}
status_t Parcel::writeFloat(float value) {
    return writeAligned(value);
}
status_t Parcel::writeDouble(double value) {
    return writeAligned(value);
}
status_t Parcel::writeBool(bool value) {
    return writeInt32(value ? 1 : 0);
}
status_t Parcel::writeByte(int8_t value) {
    return writeInt32(value);
}

status_t Parcel::writeCString(const char* text) {
    return write(text, strlen(text) + 1);
}

status_t Parcel::writeString8(const String8& text) {
    const status_t status = writeInt32(static_cast<int32_t>(text.bytes()));
    return status != OK || text.bytes() == 0 ? status : write(text.string(), text.bytes() + 1);
}

status_t Parcel::writeString16(const String16& text) {
    return writeString16(text.string(), text.size());
}

status_t Parcel::writeString16(const char16_t* text, size_t length) {
    if (text == nullptr) {
        return writeInt32(-1);
    }
    if (length >= INT32_MAX / sizeof(char16_t)) {
        return mError = BAD_VALUE;
    }
    if (const status_t status = writeInt32(static_cast<int32_t>(length)); status != OK) {
        return status;
    }
    const size_t bytes = length * sizeof(char16_t);
    auto* room = static_cast<uint8_t*>(writeInplace(bytes + sizeof(char16_t)));
    if (room == nullptr) {
        return mError;
    }
    memcpy(room, text, bytes);
    memset(room + bytes, 0, sizeof(char16_t));
    return OK;
}

status_t Parcel::writeInterfaceToken(const String16& interface) {
    writeUint32(kStrictModePenaltyGather);
    writeInt32(kUnsetWorkSource);
    return writeString16(interface);
}

status_t Parcel::writeNoException() {
    return writeInt32(kExceptionNone);
}

template <typename T>
status_t Parcel::readAligned(T* out) const {
    return read(out, sizeof(T));
}

int32_t Parcel::readInt32() const {
    int32_t value = 0;
    readAligned(&value);
    return value;
}

status_t Parcel::readInt32(int32_t* out) const {
    return readAligned(out);
}

uint32_t Parcel::readUint32() const {
    uint32_t value = 0;
    readAligned(&value);
    return value;
}

status_t Parcel::readUint32(uint32_t* out) const {
    return readAligned(out);
}

int64_t Parcel::readInt64() const {
    int64_t value = 0;
    readAligned(&value);
    return value;
}

status_t Parcel::readInt64(int64_t* out) const {
    return readAligned(out);
}

uint64_t Parcel::readUint64() const {
    uint64_t value = 0;
    readAligned(&value);
    return value;
}

float Parcel::readFloat() const {
    float value = 0;
    readAligned(&value);
    return value;
}

double Parcel::readDouble() const {
    double value = 0;
    readAligned(&value);
    return value;
}

bool Parcel::readBool() const {
    return readInt32() != 0;
}

status_t Parcel::readBool(bool* out) const {
    int32_t value = 0;
    const status_t status = readInt32(&value);
    *out = value != 0;
    return status;
}

int8_t Parcel::readByte() const {
    return static_cast<int8_t>(readInt32());
}

const char* Parcel::readCString() const {
    if (mDataPos >= mDataSize) {
        return nullptr;
    }
    const void* begin = mData + mDataPos;
    const void* end = memchr(begin, 0, mDataSize - mDataPos);
    if (end == nullptr) {
        return nullptr;
    }
    const auto length =
        static_cast<size_t>(static_cast<const char*>(end) - static_cast<const char*>(begin));
    return static_cast<const char*>(readInplace(length + 1));
}

String8 Parcel::readString8() const {
    const int32_t length = readInt32();
    if (length <= 0 || length == INT32_MAX) {
        return String8();
    }
    const void* text = readInplace(static_cast<size_t>(length) + 1);
    return text == nullptr ? String8()
                           : String8(static_cast<const char*>(text), static_cast<size_t>(length));
}

String16 Parcel::readString16() const {
    size_t length = 0;
    const char16_t* text = readString16Inplace(&length);
    return text == nullptr ? String16() : String16(text, length);
}

const char16_t* Parcel::readString16Inplace(size_t* outLength) const {
    *outLength = 0;
    const int32_t length = readInt32();
    if (length < 0 || length >= INT32_MAX / 2) {
        return nullptr;
    }
    const void* text = readInplace((static_cast<size_t>(length) + 1) * sizeof(char16_t));
    if (text != nullptr) {
        *outLength = static_cast<size_t>(length);
    }
    return static_cast<const char16_t*>(text);
}

int32_t Parcel::readExceptionCode() const {
    int32_t code = 0;
    if (readInt32(&code) != OK) {
        return kExceptionTransactionFailed;
    }
    if (code != kExceptionHasReplyHeader) {
        return code;
    }
    // A framework that gathers strict-mode violations puts them, length first, before a good reply.
    const size_t begin = dataPosition();
    int32_t length = 0;
    if (readInt32(&length) != OK || length < 0 ||
        static_cast<size_t>(length) > dataSize() - begin) {
        return kExceptionTransactionFailed;
    }
    setDataPosition(begin + static_cast<size_t>(length));
    return kExceptionNone;
}

bool Parcel::enforceInterface(const String16& interface) const {
    readInt32();  // strict-mode policy
    readInt32();  // work source
    size_t length = 0;
    const char16_t* token = readString16Inplace(&length);
    return token != nullptr && length == interface.size() &&
           memcmp(token, interface.string(), length * sizeof(char16_t)) == 0;
}

bool Parcel::checkInterface(IBinder* binder) const {
    return enforceInterface(binder->getInterfaceDescriptor());
}

}  // namespace android
