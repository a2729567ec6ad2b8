// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <linux/android/binder.h>
#include <utils/String16.h>
#include <utils/String8.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace android {

/**
 * The body of a transaction: fields in a row, each padded to four bytes, and a table of where
 * binder objects and file descriptors stand among them. The bytes are Android 10's.
 *
 * Readers never fail hard: past the end, or on top of an object, the ones without a status give 0,
 * an empty text or null. Not thread-safe.
 */
class Parcel {
  public:
    Parcel();
    ~Parcel();
    Parcel(const Parcel&) = delete;
    Parcel& operator=(const Parcel&) = delete;

    const uint8_t* data() const { return mData; }
    size_t dataSize() const { return mDataSize > mDataPos ? mDataSize : mDataPos; }
    size_t dataAvail() const { return dataSize() - mDataPos; }
    size_t dataPosition() const { return mDataPos; }
    size_t dataCapacity() const { return mDataCapacity; }
    status_t setDataSize(size_t size);
    status_t setDataCapacity(size_t size);
    void setDataPosition(size_t position) const;
    /** Replaces everything by plain bytes; objects among them are not recognised. */
    status_t setData(const uint8_t* buffer, size_t length);
    /** Gives up the contents: objects are released, file descriptors that it owns closed. */
    void freeData();
    /** The first error that a write met. */
    status_t errorCheck() const { return mError; }
    void setError(status_t error) { mError = error; }

    size_t objectsCount() const { return mObjects.size(); }
    bool hasFileDescriptors() const;

    status_t write(const void* data, size_t length);
    /** @return room for `length` bytes, padding zeroed, or null when there is no memory */
    void* writeInplace(size_t length);
    status_t writeInt32(int32_t value);
    status_t writeUint32(uint32_t value);
    status_t writeInt64(int64_t value);
    status_t writeUint64(uint64_t value);
    status_t writeFloat(float value);
    status_t writeDouble(double value);
    status_t writeBool(bool value);
    status_t writeByte(int8_t value);
    status_t writeCString(const char* text);
    status_t writeString8(const String8& text);
    status_t writeString16(const String16& text);
    /** A null `text` is a value of its own. */
    status_t writeString16(const char16_t* text, size_t length);
    status_t writeStrongBinder(const sp<IBinder>& binder);
    status_t writeInterfaceToken(const String16& interface);
    status_t writeNoException();
    status_t writeFileDescriptor(int fd, bool takeOwnership = false);
    status_t writeDupFileDescriptor(int fd);

    status_t read(void* out, size_t length) const;
    const void* readInplace(size_t length) const;
    int32_t readInt32() const;
    status_t readInt32(int32_t* out) const;
    uint32_t readUint32() const;
    status_t readUint32(uint32_t* out) const;
    int64_t readInt64() const;
    status_t readInt64(int64_t* out) const;
    uint64_t readUint64() const;
    float readFloat() const;
    double readDouble() const;
    bool readBool() const;
    status_t readBool(bool* out) const;
    int8_t readByte() const;
    /** @return null unless a terminating zero stands before the end */
    const char* readCString() const;
    String8 readString8() const;
    String16 readString16() const;
    const char16_t* readString16Inplace(size_t* outLength) const;
    sp<IBinder> readStrongBinder() const;
    status_t readStrongBinder(sp<IBinder>* out) const;
    status_t readNullableStrongBinder(sp<IBinder>* out) const;
    /** @return a descriptor that the parcel goes on owning, or BAD_TYPE */
    int readFileDescriptor() const;
    /** @return 0 for no exception, else the code; -129 when there is none to read */
    int32_t readExceptionCode() const;

    /** Reads the interface token that a caller wrote; false when it is another one or missing. */
    bool enforceInterface(const String16& interface) const;
    bool checkInterface(IBinder* binder) const;

  private:
    friend class IPCThreadState;

    /** Returns a received buffer to the transport it came from. */
    using ReleaseFunction = void (*)(Parcel* parcel, const uint8_t* data, size_t dataSize,
                                     const binder_size_t* objects, size_t objectsCount,
                                     void* cookie);

    /** Reads `data` in place from now on; `release` gets it back when the contents are given up. */
    void ipcSetDataReference(const uint8_t* data, size_t dataSize, const binder_size_t* objects,
                             size_t objectsCount, ReleaseFunction release, void* cookie);
    const binder_size_t* ipcObjects() const { return mObjects.data(); }
    void closeFileDescriptors();

    status_t growData(size_t length);
    status_t makeWritable();
    status_t writeObject(const flat_binder_object& object, bool evenIfNull);
    const flat_binder_object* readObject(bool evenIfNull) const;
    bool isObjectAt(size_t position) const;
    bool overlapsObject(size_t begin, size_t end) const;
    void acquireObjects();
    void releaseObjectsPast(size_t size);

    template <typename T>
    status_t writeAligned(T value);
    template <typename T>
    status_t readAligned(T* out) const;

    status_t mError = OK;
    uint8_t* mData = nullptr;
    size_t mDataSize = 0;
    size_t mDataCapacity = 0;
    mutable size_t mDataPos = 0;
    std::vector<binder_size_t> mObjects;
    ReleaseFunction mRelease = nullptr;
    void* mReleaseCookie = nullptr;
};

}  // namespace android
