// SPDX-License-Identifier: Apache-2.0
#include <binder/Binder.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

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

TEST(Parcel, WritesAndroidTensBytes) {
    Parcel parcel;
    parcel.writeInt32(-2);
    parcel.writeInt64(0x0102030405060708);
    parcel.writeBool(true);
    parcel.writeByte(-1);
    parcel.writeCString("abcd");
    parcel.writeString16(String16("ab"));
    parcel.writeString16(String16(""));
    parcel.writeString16(nullptr, 0);
    parcel.writeString8(String8("abc"));
    parcel.writeString8(String8(""));
    parcel.writeFloat(1.0f);
    parcel.writeNoException();
    EXPECT_EQ(BytesOf(parcel), FromHex("feffffff 0807060504030201 01000000 ffffffff"
                                       "'abcd' 00 000000"
                                       "02000000 ~'ab' 0000 0000"
                                       "00000000 0000 0000"
                                       "ffffffff"
                                       "03000000 'abc' 00"
                                       "00000000"
                                       "0000803f 00000000"));
    parcel.setDataPosition(0);
    EXPECT_EQ(parcel.readInt32(), -2);
    EXPECT_EQ(parcel.readInt64(), 0x0102030405060708);
    EXPECT_TRUE(parcel.readBool());
    EXPECT_EQ(parcel.readByte(), -1);
    EXPECT_STREQ(parcel.readCString(), "abcd");
    EXPECT_EQ(parcel.readString16(), String16("ab"));
    EXPECT_EQ(parcel.readString16(), String16(""));
    EXPECT_EQ(parcel.readString16(), String16(""));
    EXPECT_EQ(parcel.readString8(), String8("abc"));
    EXPECT_EQ(parcel.readString8(), String8(""));
    EXPECT_EQ(parcel.readFloat(), 1.0f);
    EXPECT_EQ(parcel.readExceptionCode(), 0);
    EXPECT_EQ(parcel.dataAvail(), 0u);
}

TEST(Parcel, WritesInterfaceTokensAndTellsThemApart) {
    Parcel parcel;
    parcel.writeInterfaceToken(String16("KVTService"));
    EXPECT_EQ(BytesOf(parcel), FromHex(kServiceToken));
    for (const auto& [name, right] : {std::pair("KVTService", true),
                                      {"KVTServic", false},
                                      {"KVTServices", false},
                                      {"", false}}) {
        parcel.setDataPosition(0);
        EXPECT_EQ(parcel.enforceInterface(String16(name)), right) << name;
    }
}

TEST(Parcel, ReadsNothingPastTheEnd) {
    for (const char* hex : {"", "ff", "ffffff7f", "ffffffff", "10000000 ~'ab'", "feffff3f"}) {
        SCOPED_TRACE(hex);
        Parcel parcel;
        const Bytes bytes = FromHex(hex);
        for (int reader = 0; reader < 7; ++reader) {
            Fill(&parcel, bytes);
            switch (reader) {
                case 0:
                    EXPECT_EQ(parcel.readString16().size(), 0u);
                    break;
                case 1:
                    EXPECT_EQ(parcel.readString8().size(), 0u);
                    break;
                case 2:
                    EXPECT_EQ(parcel.readInt64() == 0, bytes.size() < 8);
                    break;
                case 3:
                    EXPECT_EQ(parcel.readStrongBinder(), nullptr);
                    break;
                case 4:
                    EXPECT_LT(parcel.readFileDescriptor(), 0);
                    break;
                case 5:
                    EXPECT_EQ(parcel.readInplace(64), nullptr);
                    break;
                default:
                    EXPECT_FALSE(parcel.enforceInterface(String16("x")));
            }
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
    const sp<Object> object = new Object;
    Parcel real;
    real.writeStrongBinder(object);
    Parcel forged;
    Fill(&forged, BytesOf(real));
    sp<IBinder> out;
    EXPECT_EQ(forged.readNullableStrongBinder(&out), android::BAD_TYPE);
    Parcel forgedFd;
    Fill(&forgedFd, FromHex("85 2a 64 66 7f010000 01000000 00000000 00000000 00000000"));
    EXPECT_EQ(forgedFd.readFileDescriptor(), android::BAD_TYPE);
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
        const int fd = parcel.readFileDescriptor();
        EXPECT_EQ(write(fd, "x", 1), 1);
    }
    char c = 0;
    EXPECT_EQ(read(ends[0], &c, 1), 1);
    EXPECT_EQ(read(ends[0], &c, 1), 0) << "the parcel closed the copy that it owned";
    close(ends[0]);
    Parcel parcel;
    EXPECT_LT(parcel.writeDupFileDescriptor(-1), 0);
}

TEST(Parcel, FillsGapsWithZeroes) {
    Parcel parcel;
    parcel.setDataPosition(8);
    parcel.writeInt32(1);
    EXPECT_EQ(BytesOf(parcel), FromHex("0000000000000000 01000000"));
    EXPECT_EQ(parcel.setDataSize(4), android::OK);
    EXPECT_EQ(parcel.dataSize(), 4u);
    EXPECT_EQ(parcel.writeInplace(SIZE_MAX), nullptr);
    EXPECT_NE(parcel.errorCheck(), android::OK);
}

TEST(LocalBinder, GivesAOneWayCallerNoReply) {
    const sp<Object> object = new Object;
    Parcel data;
    Parcel reply;
    EXPECT_EQ(object->transact(IBinder::PING_TRANSACTION, data, &reply), android::OK);
    EXPECT_EQ(reply.dataSize(), 4u);
    Parcel none;
    object->transact(IBinder::PING_TRANSACTION, data, &none, IBinder::FLAG_ONEWAY);
    EXPECT_EQ(none.dataSize(), 0u);
    EXPECT_EQ(object->transact(IBinder::PING_TRANSACTION, data, nullptr), android::OK);
    EXPECT_EQ(object->transact(IBinder::DUMP_TRANSACTION, data, &reply), android::BAD_TYPE);
    Parcel hostile;
    hostile.writeFileDescriptor(0);
    hostile.writeInt32(INT32_MAX);
    hostile.writeStrongBinder(object);
    EXPECT_EQ(object->transact(IBinder::DUMP_TRANSACTION, hostile, &reply), android::OK);
    EXPECT_EQ(object->linkToDeath(nullptr), android::INVALID_OPERATION);
}

TEST(LocalBinder, HasNoShellCommands) {
    const sp<Object> object = new Object;
    const sp<Receiver> receiver = new Receiver;
    Parcel data;
    Parcel reply;
    for (int fd = 0; fd < 3; ++fd) {
        data.writeFileDescriptor(fd);
    }
    data.writeInt32(1);
    data.writeString16(String16("help"));
    data.writeStrongBinder(nullptr);
    data.writeStrongBinder(receiver);
    EXPECT_EQ(object->transact(IBinder::SHELL_COMMAND_TRANSACTION, data, &reply), android::OK);
    EXPECT_EQ(reply.dataSize(), 0u);
    EXPECT_EQ(receiver->received,
              FromHex("00000080 ffffffff 27000000 ~'com.android.internal.os.IResultReceiver' 0000"
                      "daffffff"));
    Parcel empty;
    for (const uint32_t code :
         {IBinder::SHELL_COMMAND_TRANSACTION, IBinder::SYSPROPS_TRANSACTION}) {
        EXPECT_EQ(object->transact(code, empty, &reply), android::OK) << code;
    }
}

}  // namespace
}  // namespace KVT
