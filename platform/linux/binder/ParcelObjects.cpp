// SPDX-License-Identifier: Apache-2.0
// The objects of a parcel: binders and file descriptors among its fields.
#include <binder/Binder.h>
#include <binder/IPCThreadState.h>
#include <binder/Parcel.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "linux/binder/Transport.h"

namespace android {
namespace {

// Lowest priorities that a served call may run at.
constexpr uint32_t kNice0 = 0;
constexpr uint32_t kNice19 = 0x13;
constexpr uint32_t kFileDescriptorFlags = 0x7f | FLAT_BINDER_FLAG_ACCEPTS_FDS;

flat_binder_object ObjectAt(const uint8_t* data, binder_size_t offset) {
    flat_binder_object object;
    memcpy(&object, data + offset, sizeof(object));
    return object;
}

/** The object that a reference keeps alive; null for a file descriptor. */
sp<IBinder> Referent(const flat_binder_object& object) {
    switch (object.hdr.type) {
        case BINDER_TYPE_BINDER:
            return reinterpret_cast<BBinder*>(object.cookie);
        case BINDER_TYPE_HANDLE:
            return ProxyForHandle(static_cast<int32_t>(object.handle));
        default:
            return nullptr;
    }
}

bool OwnsFileDescriptor(const flat_binder_object& object) {
    return object.hdr.type == BINDER_TYPE_FD && object.cookie != 0;
}

}  // namespace

/** The parcel's own share in objects that it has copied from a received buffer. */
void Parcel::acquireObjects() {
    for (const binder_size_t offset : mObjects) {
        flat_binder_object object = ObjectAt(mData, offset);
        if (object.hdr.type == BINDER_TYPE_FD) {
            // The received one is closed with the buffer.
            object.handle =
                static_cast<uint32_t>(fcntl(static_cast<int>(object.handle), F_DUPFD_CLOEXEC, 0));
            object.cookie = 1;
            memcpy(mData + offset, &object, sizeof(object));
        } else if (const sp<IBinder> referent = Referent(object); referent != nullptr) {
            referent->incStrong(this);
        }
    }
}

/** Gives up the objects that do not lie wholly within the first `size` bytes. */
void Parcel::releaseObjectsPast(size_t size) {
    while (!mObjects.empty() && mObjects.back() + sizeof(flat_binder_object) > size) {
        const flat_binder_object object = ObjectAt(mData, mObjects.back());
        mObjects.pop_back();
        if (OwnsFileDescriptor(object)) {
            close(static_cast<int>(object.handle));
        } else if (const sp<IBinder> referent = Referent(object); referent != nullptr) {
            referent->decStrong(this);
        }
    }
}

void Parcel::closeFileDescriptors() {
    for (const binder_size_t offset : mObjects) {
        if (const flat_binder_object object = ObjectAt(mData, offset);
            object.hdr.type == BINDER_TYPE_FD) {
            close(static_cast<int>(object.handle));
        }
    }
}

bool Parcel::hasFileDescriptors() const {
    return std::any_of(mObjects.begin(), mObjects.end(), [this](binder_size_t offset) {
        return ObjectAt(mData, offset).hdr.type == BINDER_TYPE_FD;
    });
}

bool Parcel::isObjectAt(size_t position) const {
    return std::binary_search(mObjects.begin(), mObjects.end(), position);
}

bool Parcel::overlapsObject(size_t begin, size_t end) const {
    // The first object that ends behind `begin`; objects are in order and do not overlap.
    const auto first = std::upper_bound(mObjects.begin(), mObjects.end(), begin,
                                        [](size_t position, binder_size_t offset) {
                                            return position < offset + sizeof(flat_binder_object);
                                        });
    return first != mObjects.end() && *first < end;
}

status_t Parcel::writeObject(const flat_binder_object& object, bool evenIfNull) {
    if (overlapsObject(mDataPos, mDataPos + sizeof(object))) {
        return mError = INVALID_OPERATION;
    }
    const size_t offset = mDataPos;
    if (const status_t status = write(&object, sizeof(object)); status != OK) {
        return status;
    }
    if (evenIfNull || object.binder != 0) {
        if (const sp<IBinder> referent = Referent(object); referent != nullptr) {
            referent->incStrong(this);
        }
        // Nearly always at the end; a caller that went back writes in between.
        mObjects.insert(std::upper_bound(mObjects.begin(), mObjects.end(), offset), offset);
    }
    return OK;
}

const flat_binder_object* Parcel::readObject(bool evenIfNull) const {
    const size_t position = mDataPos;
    if (position > mDataSize || sizeof(flat_binder_object) > mDataSize - position) {
        return nullptr;
    }
    const auto* object = reinterpret_cast<const flat_binder_object*>(mData + position);
    const flat_binder_object copy = ObjectAt(mData, position);
    // Outside the table only a null object is believed: anything else would be a forged pointer.
    const bool isNull = !evenIfNull && copy.cookie == 0 && copy.binder == 0;
    if (!isNull && !isObjectAt(position)) {
        return nullptr;
    }
    mDataPos += sizeof(flat_binder_object);
    return object;
}

status_t Parcel::writeStrongBinder(const sp<IBinder>& binder) {
    flat_binder_object object{};
    object.flags = FLAT_BINDER_FLAG_ACCEPTS_FDS |
                   (IPCThreadState::self()->backgroundSchedulingDisabled() ? kNice0 : kNice19);
    object.hdr.type = BINDER_TYPE_BINDER;
    if (binder != nullptr) {
        if (BBinder* local = binder->localBinder(); local != nullptr) {
            object.binder = reinterpret_cast<uintptr_t>(local->getWeakRefs());
            object.cookie = reinterpret_cast<uintptr_t>(local);
        } else {
            object.hdr.type = BINDER_TYPE_HANDLE;
            object.handle = static_cast<uint32_t>(HandleOf(binder->remoteBinder()));
        }
    }
    return writeObject(object, false);
}

status_t Parcel::readNullableStrongBinder(sp<IBinder>* out) const {
    out->clear();
    const flat_binder_object* from = readObject(false);
    if (from == nullptr) {
        return BAD_TYPE;
    }
    flat_binder_object object;
    memcpy(&object, from, sizeof(object));
    if (object.hdr.type != BINDER_TYPE_BINDER && object.hdr.type != BINDER_TYPE_HANDLE) {
        return BAD_TYPE;
    }
    *out = Referent(object);
    return OK;
}

status_t Parcel::readStrongBinder(sp<IBinder>* out) const {
    const status_t status = readNullableStrongBinder(out);
    return status == OK && *out == nullptr ? UNEXPECTED_NULL : status;
}

sp<IBinder> Parcel::readStrongBinder() const {
    sp<IBinder> binder;
    readNullableStrongBinder(&binder);
    return binder;
}

status_t Parcel::writeFileDescriptor(int fd, bool takeOwnership) {
    flat_binder_object object{};
    object.hdr.type = BINDER_TYPE_FD;
    object.flags = kFileDescriptorFlags;
    object.handle = static_cast<uint32_t>(fd);
    object.cookie = takeOwnership ? 1 : 0;
    return writeObject(object, true);
}

status_t Parcel::writeDupFileDescriptor(int fd) {
    const int copy = fcntl(fd, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) {
        return -errno;
    }
    const status_t status = writeFileDescriptor(copy, true);
    if (status != OK) {
        close(copy);
    }
    return status;
}

int Parcel::readFileDescriptor() const {
    const flat_binder_object* from = readObject(true);
    if (from == nullptr) {
        return BAD_TYPE;
    }
    flat_binder_object object;
    memcpy(&object, from, sizeof(object));
    return object.hdr.type == BINDER_TYPE_FD ? static_cast<int>(object.handle) : BAD_TYPE;
}

}  // namespace android
