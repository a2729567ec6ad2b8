// SPDX-License-Identifier: Apache-2.0
// Parcels: one that is written and read in any order, and one that arrives with any bytes and any
// table of objects. Both are held to a plain reading of their bytes.
#include <android/log.h>
#include <binder/Binder.h>
#include <binder/IPCThreadState.h>
#include <binder/Parcel.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <memory>

#include "fuzz/FuzzInput.h"
#include "tests/platform/linux/binder/FakeDriver.h"

namespace KVT::fuzz {
namespace {

using namespace android;
using test::Answer;
using test::FakeDriver;
using test::NameOf;

constexpr size_t kObjectSize = sizeof(flat_binder_object);

/** What can be read from these bytes, where objects lie among them. */
class Model {
  public:
    Model(std::vector<uint8_t> bytes, std::vector<binder_size_t> objects)
        : mBytes(std::move(bytes)), mObjects(std::move(objects)) {}

    bool mayRead(size_t position, size_t length) const {
        const size_t padded = (length + 3) & ~size_t{3};
        if (position > mBytes.size() || padded > mBytes.size() - position) {
            return false;
        }
        for (const binder_size_t object : mObjects) {
            if (object < position + padded && position < object + kObjectSize) {
                return false;
            }
        }
        return true;
    }

    template <typename T>
    T at(size_t position) const {
        T value{};
        if (mayRead(position, sizeof(value))) {
            memcpy(&value, &mBytes[position], sizeof(value));
        }
        return value;
    }

    bool holdsObject(size_t position) const {
        return std::find(mObjects.begin(), mObjects.end(), position) != mObjects.end();
    }

  private:
    const std::vector<uint8_t> mBytes;
    const std::vector<binder_size_t> mObjects;
};

/** Reads here and there, each time as the model does. */
void ReadAnything(FuzzInput& input, const Parcel& parcel, const Model& model) {
    for (int reads = 0; reads < 64 && !input.empty(); ++reads) {
        const size_t position = parcel.dataPosition();
        const int32_t length = model.at<int32_t>(position);
        const auto wanted = static_cast<size_t>(length);
        switch (input.pick(10)) {
            case 0:
                Require(parcel.readInt32() == length, "an int32 is another one");
                break;
            case 1:
                Require(parcel.readInt64() == model.at<int64_t>(position),
                        "an int64 is another one");
                break;
            case 2: {
                size_t size = 0;
                const bool there = length >= 0 && length < INT32_MAX / 2 &&
                                   model.mayRead(position, 4) &&
                                   model.mayRead(position + 4, (wanted + 1) * sizeof(char16_t));
                const char16_t* text = parcel.readString16Inplace(&size);
                Require((text != nullptr) == there && size == (there ? wanted : 0),
                        "a String16 is longer or shorter than its bytes");
                break;
            }
            case 3: {
                const bool there =
                    length > 0 && length < INT32_MAX && model.mayRead(position + 4, wanted + 1);
                Require(parcel.readString8().size() == (there ? wanted : 0),
                        "a String8 is longer or shorter than its bytes");
                break;
            }
            case 4:
                if (const char* text = parcel.readCString(); text != nullptr) {
                    Require(model.mayRead(position, strlen(text) + 1), "a C string passes its end");
                }
                break;
            case 5: {
                const bool got = parcel.readStrongBinder() != nullptr;
                Require(!got || model.holdsObject(position), "a binder is no object");
                break;
            }
            case 6: {
                const bool got = parcel.readFileDescriptor() >= 0;
                Require(!got || model.holdsObject(position), "a descriptor is no object");
                break;
            }
            case 7: {
                const size_t size = input.take<uint16_t>();
                Require((parcel.readInplace(size) != nullptr) ==
                            (parcel.data() != nullptr && model.mayRead(position, size)),
                        "bytes are there that are not");
                break;
            }
            case 8:
                parcel.readExceptionCode();
                break;
            default:
                parcel.setDataPosition(input.take<uint16_t>() % (parcel.dataSize() + 8));
        }
    }
}

std::vector<uint8_t> BytesOf(const Parcel& parcel) {
    return {parcel.data(), parcel.data() + parcel.dataSize()};
}

// ---- Own ----

/** Writes fields one after another, and expects each of them back. */
void WriteAndRead(FuzzInput& input, const sp<IBinder>& object) {
    Parcel parcel;
    std::vector<std::function<bool()>> reads;
    std::vector<binder_size_t> objects;
    for (int fields = 0; fields < 32 && input.pick(8) != 7; ++fields) {
        const auto add = [&](auto value, auto write, auto read) {
            Require((parcel.*write)(value) == OK, "a field was not written");
            reads.emplace_back([&parcel, value, read] { return (parcel.*read)() == value; });
        };
        switch (input.pick(7)) {
            case 0:
                add(input.take<int32_t>(), &Parcel::writeInt32,
                    static_cast<int32_t (Parcel::*)() const>(&Parcel::readInt32));
                break;
            case 1:
                add(input.take<int64_t>(), &Parcel::writeInt64,
                    static_cast<int64_t (Parcel::*)() const>(&Parcel::readInt64));
                break;
            case 2:
                add(String16(input.text().c_str()),
                    static_cast<status_t (Parcel::*)(const String16&)>(&Parcel::writeString16),
                    &Parcel::readString16);
                break;
            case 3:
                add(String8(input.text().c_str()), &Parcel::writeString8, &Parcel::readString8);
                break;
            case 4:
                add(input.pick(2) == 1, &Parcel::writeBool,
                    static_cast<bool (Parcel::*)() const>(&Parcel::readBool));
                break;
            case 5:
                objects.push_back(parcel.dataPosition());
                add(object, &Parcel::writeStrongBinder,
                    static_cast<sp<IBinder> (Parcel::*)() const>(&Parcel::readStrongBinder));
                break;
            default:
                objects.push_back(parcel.dataPosition());
                parcel.writeFileDescriptor(open("/dev/null", O_RDONLY | O_CLOEXEC), true);
                reads.emplace_back(
                    [&parcel] { return fcntl(parcel.readFileDescriptor(), F_GETFD) >= 0; });
        }
    }
    parcel.setDataPosition(0);
    for (const auto& read : reads) {
        Require(read(), "a field that was written is another one");
    }
    Require(parcel.dataAvail() == 0, "there is more than was written");
    parcel.setDataPosition(0);
    ReadAnything(input, parcel, Model(BytesOf(parcel), objects));
    // Writing over it, growing and shrinking: whatever is left, objects are given back once.
    for (int changes = 0; changes < 16 && !input.empty(); ++changes) {
        parcel.setDataPosition(input.take<uint8_t>());
        switch (input.pick(5)) {
            case 0:
                parcel.writeStrongBinder(object);
                break;
            case 1:
                parcel.setDataSize(input.take<uint8_t>());
                break;
            case 2:
                parcel.writeString16(String16(input.text().c_str()));
                break;
            case 3:
                parcel.readStrongBinder();
                break;
            default:
                parcel.writeInt32(input.take<int32_t>());
        }
    }
}

// ---- Received ----

/** Serves one call by reading what came with it. */
class Reader : public BBinder {
  public:
    std::function<void(const Parcel&)> read;

  protected:
    status_t onTransact(uint32_t, const Parcel& data, Parcel*, uint32_t) override {
        read(data);
        return OK;
    }
};

bool IsBelieved(const std::vector<binder_size_t>& table, size_t size) {
    binder_size_t end = 0;
    for (const binder_size_t offset : table) {
        if (offset < end || offset > size || size - offset < kObjectSize) {
            return false;
        }
        end = offset + kObjectSize;
    }
    return true;
}

void Receive(FuzzInput& input, const sp<Reader>& reader) {
    FakeDriver& driver = FakeDriver::Get();
    std::vector<binder_size_t> table;
    for (size_t count = input.pick(4); count > 0; --count) {
        table.push_back(input.pick(160));
    }
    std::vector<uint8_t> bytes = input.bytes(input.take<uint8_t>());
    const bool believed = IsBelieved(table, bytes.size());
    std::vector<int> descriptors;
    for (size_t i = 0; believed && i < table.size(); ++i) {
        flat_binder_object object{};
        if (input.pick(2) == 0) {
            object.hdr.type = BINDER_TYPE_FD;
            descriptors.push_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
            object.handle = static_cast<uint32_t>(descriptors.back());
        } else {
            const binder_ptr_cookie name = NameOf(reader.get());
            object.hdr.type = BINDER_TYPE_BINDER;
            object.binder = name.ptr;
            object.cookie = name.cookie;
        }
        memcpy(&bytes[table[i]], &object, sizeof(object));
    }
    const Model model(bytes, believed ? table : std::vector<binder_size_t>());
    reader->read = [&](const Parcel& data) { ReadAnything(input, data, model); };
    const binder_transaction_data call =
        FakeDriver::CallOf(reader.get(), 1, driver.receive(bytes.data(), bytes.size(), table));
    driver.answer(Answer().add(BR_TRANSACTION, call));
    IPCThreadState::self()->joinThreadPool();
    IPCThreadState::self()->flushCommands();
    for (const int descriptor : descriptors) {
        Require(fcntl(descriptor, F_GETFD) < 0, "a received descriptor was left open");
    }
    Require(driver.owed(FakeDriver::kBuffers).empty(), "a receive buffer was not given back");
    driver.forgetCommands();
}

}  // namespace
}  // namespace KVT::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace KVT::fuzz;
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    FuzzInput input(data, size);
    const android::sp<Reader> reader = new Reader;
    if (input.pick(2) == 0) {
        WriteAndRead(input, reader);
    } else {
        Receive(input, reader);
    }
    Require(reader->getStrongCount() == 1, "an object is held for nobody");
    return 0;
}
