// SPDX-License-Identifier: Apache-2.0
#include <binder/Binder.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "tests/support/Bytes.h"

namespace KVT {
namespace {

using android::BBinder;
using android::IBinder;
using android::Parcel;
using android::sp;
using android::String16;
using android::String8;
using android::wp;

class Object : public BBinder {};

/** Expects a value to be written as these bytes, and to be read back from no more than them. */
template <typename Value, typename Argument, typename Result>
void ExpectField(const char* bytes, const Value& value,
                 android::status_t (Parcel::*write)(Argument), Result (Parcel::*read)() const) {
    SCOPED_TRACE(bytes);
    Parcel parcel;
    (parcel.*write)(value);
    parcel.writeInt32(-3);
    EXPECT_EQ(BytesOf(parcel), FromHex(bytes + std::string("fdffffff")));
    parcel.setDataPosition(0);
    EXPECT_EQ((parcel.*read)(), value);
    EXPECT_EQ(parcel.readInt32(), -3);
}

TEST(Parcel, WritesAndReadsAndroidTensBytes) {
    ExpectField("feffffff", -2, &Parcel::writeInt32, &Parcel::readInt32);
    ExpectField("0807060504030201", 0x0102030405060708, &Parcel::writeInt64, &Parcel::readInt64);
    ExpectField("ffffffff", UINT32_MAX, &Parcel::writeUint32, &Parcel::readUint32);
    ExpectField("ffffffffffffffff", UINT64_MAX, &Parcel::writeUint64, &Parcel::readUint64);
    ExpectField("000000000000f03f", 1.0, &Parcel::writeDouble, &Parcel::readDouble);
    ExpectField("01000000", true, &Parcel::writeBool, &Parcel::readBool);
    ExpectField("ffffffff", int8_t{-1}, &Parcel::writeByte, &Parcel::readByte);
    ExpectField("0000803f", 1.0f, &Parcel::writeFloat, &Parcel::readFloat);
    ExpectField("02000000 ~'ab' 0000 0000", String16("ab"), &Parcel::writeString16,
                &Parcel::readString16);
    ExpectField("00000000 0000 0000", String16(""), &Parcel::writeString16, &Parcel::readString16);
    ExpectField("03000000 'abc' 00", String8("abc"), &Parcel::writeString8, &Parcel::readString8);
    ExpectField("00000000", String8(""), &Parcel::writeString8, &Parcel::readString8);
    Parcel parcel;
    parcel.writeCString("abcd");
    parcel.writeNoException();
    parcel.writeString16(nullptr, 0);
    parcel.writeInterfaceToken(String16("KVTService"));
    EXPECT_EQ(BytesOf(parcel),
              FromHex("'abcd' 00 000000  00000000  ffffffff" + std::string(kServiceToken)));
    parcel.setDataPosition(0);
    EXPECT_STREQ(parcel.readCString(), "abcd");
    EXPECT_EQ(parcel.readExceptionCode(), 0);
    EXPECT_EQ(parcel.readString16(), String16(""));
    EXPECT_TRUE(parcel.enforceInterface(String16("KVTService")));
}

TEST(Parcel, ReadsNothingPastTheEnd) {
    const std::function<bool(const Parcel&)> findsNothing[] = {
        [](auto& parcel) { return parcel.readString16().size() == 0; },
        [](auto& parcel) { return parcel.readString8().size() == 0; },
        [](auto& parcel) { return (parcel.readInt64() == 0) == (parcel.dataSize() < 8); },
        [](auto& parcel) { return parcel.readStrongBinder() == nullptr; },
        [](auto& parcel) { return parcel.readFileDescriptor() < 0; },
        [](auto& parcel) { return parcel.readInplace(64) == nullptr; },
        [](auto& parcel) { return !parcel.enforceInterface(String16("x")); },
    };
    for (const char* hex : {"", "ff", "ffffff7f", "ffffffff", "10000000 ~'ab'", "feffff3f"}) {
        for (const auto& read : findsNothing) {
            Parcel parcel;
            Fill(&parcel, FromHex(hex));
            EXPECT_TRUE(read(parcel)) << hex << ", reader " << &read - findsNothing;
        }
    }
}

TEST(Parcel, ReadsExceptionCodes) {
    const struct {
        const char* bytes;
        int32_t code;
    } cases[] = {
        {"00000000", 0},
        {"ffffffff", -1},
        {"", -129},
        {"80ffffff 08000000 00000000", 0},  // strict-mode header, skipped
        {"80ffffff ffffff7f", -129},        // header longer than the parcel
        {"80ffffff ffffffff", -129},
    };
    for (const auto& c : cases) {
        Parcel parcel;
        Fill(&parcel, FromHex(c.bytes));
        EXPECT_EQ(parcel.readExceptionCode(), c.code) << c.bytes;
    }
}

TEST(Parcel, KeepsBindersAliveWhileItHoldsThem) {
    sp<Object> object = new Object;
    const wp<Object> watch = object;
    Parcel parcel;
    parcel.writeStrongBinder(object);
    parcel.writeStrongBinder(nullptr);
    EXPECT_EQ(parcel.objectsCount(), 1u) << "a null binder is not entered in the table";
    EXPECT_EQ(parcel.dataSize(), 48u);
    object.clear();
    parcel.setDataPosition(0);
    sp<IBinder> read = parcel.readStrongBinder();
    EXPECT_EQ(read, watch.promote());
    sp<IBinder> none;
    EXPECT_EQ(parcel.readNullableStrongBinder(&none), android::OK);
    EXPECT_EQ(none, nullptr);
    read.clear();
    EXPECT_NE(watch.promote(), nullptr);
    parcel.freeData();
    EXPECT_EQ(watch.promote(), nullptr);
}

TEST(Parcel, BelievesNoForgedObject) {
    Parcel real;
    real.writeStrongBinder(new Object);
    Parcel forged;
    Fill(&forged, BytesOf(real));
    sp<IBinder> out;
    EXPECT_EQ(forged.readNullableStrongBinder(&out), android::BAD_TYPE);
    Fill(&forged, FromHex("852a6466 7f010000 01000000 00000000 00000000 00000000"));
    EXPECT_EQ(forged.readFileDescriptor(), android::BAD_TYPE);
}

TEST(Parcel, ShowsNoPointersToPlainReads) {
    Parcel parcel;
    parcel.writeInt32(1);
    parcel.writeStrongBinder(new Object);
    parcel.writeInt32(2);
    parcel.setDataPosition(0);
    EXPECT_EQ(parcel.readInt32(), 1);
    int64_t pointer = 0;
    EXPECT_NE(parcel.readInt64(&pointer), android::OK);
    parcel.setDataPosition(4 + 24);
    EXPECT_EQ(parcel.readInt32(), 2);
}

TEST(Parcel, WritesNothingOverItsObjects) {
    const sp<Object> object = new Object;
    Parcel parcel;
    parcel.writeStrongBinder(object);
    parcel.setDataPosition(16);
    EXPECT_EQ(parcel.writeInt64(-1), android::INVALID_OPERATION);
    parcel.setDataPosition(0);
    EXPECT_EQ(parcel.readStrongBinder(), object);
}

TEST(Parcel, KeepsTheObjectsThatAreLeftWhenItShrinks) {
    const struct {
        size_t size;
        bool keepsFirst;
        bool keepsSecond;
    } rows[] = {{4 + 24 + 24, true, true},
                {4 + 24 + 23, true, false},
                {4 + 24, true, false},
                {4 + 23, false, false},
                {0, false, false}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.size);
        sp<Object> objects[] = {new Object, new Object};
        const wp<Object> first = objects[0];
        const wp<Object> second = objects[1];
        Parcel parcel;
        parcel.writeInt32(1);
        for (sp<Object>& object : objects) {
            parcel.writeStrongBinder(object);
            object.clear();
        }
        EXPECT_EQ(parcel.setDataSize(row.size), android::OK);
        EXPECT_EQ(parcel.objectsCount(), size_t{row.keepsFirst} + size_t{row.keepsSecond});
        EXPECT_EQ(first.promote() != nullptr, row.keepsFirst);
        EXPECT_EQ(second.promote() != nullptr, row.keepsSecond);
        parcel.setDataPosition(4);
        EXPECT_EQ(parcel.readStrongBinder(), first.promote());
    }
}

TEST(Parcel, CarriesFileDescriptors) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    {
        Parcel parcel;
        EXPECT_EQ(parcel.writeDupFileDescriptor(ends[1]), android::OK);
        EXPECT_EQ(parcel.writeFileDescriptor(ends[1]), android::OK);
        EXPECT_TRUE(parcel.hasFileDescriptors());
        EXPECT_EQ(parcel.objectsCount(), 2u);
        close(ends[1]);
        parcel.setDataPosition(0);
        EXPECT_EQ(write(parcel.readFileDescriptor(), "x", 1), 1);
    }
    char c = 0;
    EXPECT_EQ(read(ends[0], &c, 1), 1);
    EXPECT_EQ(read(ends[0], &c, 1), 0) << "the parcel closed the copy that it owned";
    close(ends[0]);
    EXPECT_LT(Parcel().writeDupFileDescriptor(-1), 0);
}

TEST(Parcel, FillsGapsWithZeroes) {
    Parcel parcel;
    parcel.setDataPosition(8);
    parcel.writeInt32(1);
    EXPECT_EQ(BytesOf(parcel), FromHex("0000000000000000 01000000"));
    EXPECT_EQ(parcel.setDataSize(4), android::OK);
    EXPECT_EQ(parcel.dataSize(), 4u);
    EXPECT_EQ(parcel.setDataSize(12), android::OK);
    EXPECT_EQ(BytesOf(parcel), Bytes(12));
    EXPECT_EQ(parcel.setDataSize(size_t{INT32_MAX} + 1), android::BAD_VALUE);
    EXPECT_EQ(parcel.errorCheck(), android::OK);
    EXPECT_EQ(parcel.writeInplace(SIZE_MAX), nullptr);
    EXPECT_NE(parcel.errorCheck(), android::OK);
}

class LocalBinder : public testing::Test {
  protected:
    android::status_t call(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags = 0) {
        return mObject->transact(code, data, reply, flags);
    }

    const sp<Object> mObject = new Object;
    Parcel mEmpty;
    Parcel mReply;
};

TEST_F(LocalBinder, GivesAOneWayCallerNoReply) {
    EXPECT_EQ(call(IBinder::PING_TRANSACTION, mEmpty, nullptr), android::OK);
    EXPECT_EQ(call(IBinder::PING_TRANSACTION, mEmpty, &mReply, IBinder::FLAG_ONEWAY), android::OK);
    EXPECT_EQ(mReply.dataSize(), 0u);
    EXPECT_EQ(call(IBinder::PING_TRANSACTION, mEmpty, &mReply), android::OK);
    EXPECT_EQ(mReply.dataSize(), 4u);
    EXPECT_EQ(mObject->linkToDeath(nullptr), android::INVALID_OPERATION);
}

TEST_F(LocalBinder, DumpsOnlyToADescriptor) {
    EXPECT_EQ(call(IBinder::DUMP_TRANSACTION, mEmpty, &mReply), android::BAD_TYPE);
    Parcel manyArguments;
    manyArguments.writeFileDescriptor(0);
    manyArguments.writeInt32(INT32_MAX);
    manyArguments.writeStrongBinder(mObject);
    EXPECT_EQ(call(IBinder::DUMP_TRANSACTION, manyArguments, &mReply), android::OK);
}

/** Keeps the bytes of its last call. */
class Receiver : public BBinder {
  public:
    Bytes received;

  protected:
    android::status_t onTransact(uint32_t code, const Parcel& data, Parcel*,
                                 uint32_t flags) override {
        EXPECT_EQ(code, 1u);
        EXPECT_EQ(flags, static_cast<uint32_t>(FLAG_ONEWAY));
        received = BytesOf(data);
        return android::OK;
    }
};

TEST_F(LocalBinder, HasNoShellCommands) {
    const sp<Receiver> receiver = new Receiver;
    Parcel data;
    for (int fd = 0; fd < 3; ++fd) {
        data.writeFileDescriptor(fd);
    }
    data.writeInt32(1);
    data.writeString16(String16("help"));
    data.writeStrongBinder(nullptr);
    data.writeStrongBinder(receiver);
    EXPECT_EQ(call(IBinder::SHELL_COMMAND_TRANSACTION, data, &mReply), android::OK);
    EXPECT_EQ(mReply.dataSize(), 0u);
    EXPECT_EQ(receiver->received,
              FromHex("00000080 ffffffff 27000000 ~'com.android.internal.os.IResultReceiver' 0000"
                      "daffffff"));
    for (const uint32_t code :
         {IBinder::SHELL_COMMAND_TRANSACTION, IBinder::SYSPROPS_TRANSACTION}) {
        EXPECT_EQ(call(code, mEmpty, &mReply), android::OK) << code;
    }
}

}  // namespace
}  // namespace KVT
