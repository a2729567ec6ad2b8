// SPDX-License-Identifier: Apache-2.0
#include <binder/Parcel.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace android {
namespace {

constexpr size_t Padded(size_t length) {
    return (length + 3) & ~size_t{3};
}

}  // namespace

Parcel::Parcel() = default;

Parcel::~Parcel() {
    freeData();
}

void Parcel::freeData() {
    if (mRelease != nullptr) {
        mRelease(this, mData, mDataSize, mObjects.data(), mObjects.size(), mReleaseCookie);
    } else {
        releaseObjectsPast(0);
        free(mData);
    }
    mError = OK;
    mData = nullptr;
    mDataSize = mDataCapacity = mDataPos = 0;
    mObjects.clear();
    mRelease = nullptr;
    mReleaseCookie = nullptr;
}

void Parcel::ipcSetDataReference(const uint8_t* data, size_t dataSize, const binder_size_t* objects,
                                 size_t objectsCount, ReleaseFunction release, void* cookie) {
    freeData();
    mData = const_cast<uint8_t*>(data);
    mDataSize = mDataCapacity = dataSize;
    mRelease = release;
    mReleaseCookie = cookie;
    binder_size_t end = 0;
    for (size_t i = 0; i < objectsCount; ++i) {
        if (objects[i] < end || objects[i] > dataSize ||
            dataSize - objects[i] < sizeof(flat_binder_object)) {
            mObjects.clear();
            mError = BAD_VALUE;
            return;
        }
        mObjects.push_back(objects[i]);
        end = objects[i] + sizeof(flat_binder_object);
    }
}

status_t Parcel::makeWritable() {
    if (mRelease == nullptr) {
        return OK;
    }
    uint8_t* copy = static_cast<uint8_t*>(malloc(mDataSize > 0 ? mDataSize : 1));
    if (copy == nullptr) {
        return mError = NO_MEMORY;
    }
    if (mDataSize > 0) {
        memcpy(copy, mData, mDataSize);
    }
    std::swap(mData, copy);
    acquireObjects();
    std::swap(mData, copy);
    // Whoever takes the received data back closes the descriptors that are in it.
    mRelease(this, mData, mDataSize, mObjects.data(), mObjects.size(), mReleaseCookie);
    mData = copy;
    mRelease = nullptr;
    return OK;
}

status_t Parcel::growData(size_t length) {
    if (length > INT32_MAX || mDataPos > INT32_MAX - length) {
        return mError = BAD_VALUE;
    }
    // Enough for most calls, so that they allocate once.
    constexpr size_t kSmallest = 256;
    return setDataCapacity(std::max(kSmallest, (mDataPos + length) * 3 / 2));
}

status_t Parcel::setDataCapacity(size_t size) {
    if (const status_t status = makeWritable(); status != OK) {
        return status;
    }
    if (size <= mDataCapacity) {
        return OK;
    }
    void* grown = realloc(mData, size);
    if (grown == nullptr) {
        return mError = NO_MEMORY;
    }
    mData = static_cast<uint8_t*>(grown);
    mDataCapacity = size;
    return OK;
}

status_t Parcel::setDataSize(size_t size) {
    if (size > INT32_MAX) {
        return BAD_VALUE;
    }
    const size_t oldSize = mDataSize;
    if (const status_t status = setDataCapacity(size); status != OK) {
        return status;
    }
    if (size > oldSize) {
        memset(mData + oldSize, 0, size - oldSize);
    }
    releaseObjectsPast(size);
    mDataSize = size;
    mDataPos = std::min(mDataPos, size);
    return OK;
}

void Parcel::setDataPosition(size_t position) const {
    mDataPos = std::min<size_t>(position, INT32_MAX);
}

status_t Parcel::setData(const uint8_t* buffer, size_t length) {
    freeData();
    if (length == 0) {
        return OK;
    }
    const status_t status = setDataSize(length);
    if (status == OK) {
        memcpy(mData, buffer, length);
    }
    return status;
}

void* Parcel::writeInplace(size_t length) {
    if (length > INT32_MAX - 3) {
        mError = BAD_VALUE;
        return nullptr;
    }
    const size_t padded = Padded(length);
    if (overlapsObject(mDataPos, mDataPos + padded)) {
        mError = INVALID_OPERATION;  // its bytes are given back as what they were written as
        return nullptr;
    }
    if (makeWritable() != OK) {
        return nullptr;
    }
    if (mDataPos + padded > mDataCapacity && growData(padded) != OK) {
        return nullptr;
    }
    if (mDataPos > mDataSize) {
        memset(mData + mDataSize, 0, mDataPos - mDataSize);
    }
    uint8_t* room = mData + mDataPos;
    if (padded > length) {
        memset(room + length, 0, padded - length);
    }
    mDataPos += padded;
    mDataSize = std::max(mDataSize, mDataPos);
    return room;
}

status_t Parcel::write(const void* data, size_t length) {
    void* room = writeInplace(length);
    if (room == nullptr) {
        return mError;
    }
    if (length > 0) {
        memcpy(room, data, length);
    }
    return OK;
}

status_t Parcel::read(void* out, size_t length) const {
    const void* from = readInplace(length);
    if (from == nullptr) {
        return NOT_ENOUGH_DATA;
    }
    memcpy(out, from, length);
    return OK;
}

const void* Parcel::readInplace(size_t length) const {
    if (length > INT32_MAX || mDataPos > mDataSize || Padded(length) > mDataSize - mDataPos ||
        mData == nullptr || overlapsObject(mDataPos, mDataPos + Padded(length))) {
        return nullptr;
    }
    const void* from = mData + mDataPos;
    mDataPos += Padded(length);
    return from;
}

}  // namespace android
