// SPDX-License-Identifier: Apache-2.0
// Asks for a dump and hangs up, then sends calls with random bytes to every code of the service:
// garbage_client SEED CALLS
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "service/IKVTService.h"
#include "service/Transactions.h"

namespace {

using android::IBinder;
using android::Parcel;

std::vector<uint32_t> Codes() {
    std::vector<uint32_t> codes = {0, 20, 19999, 20001, 20002};  // unknown ones
    for (const uint32_t ofEveryObject :
         {IBinder::DUMP_TRANSACTION, IBinder::INTERFACE_TRANSACTION,
          IBinder::SHELL_COMMAND_TRANSACTION, IBinder::SYSPROPS_TRANSACTION}) {
        codes.push_back(ofEveryObject);
    }
    for (const KVT::TransactionInfo& known : KVT::Transactions()) {
        codes.push_back(known.code);
    }
    return codes;
}

void Fill(Parcel* data, std::mt19937& random) {
    if (random() % 2 == 0) {
        data->writeInterfaceToken(KVT::IKVTService::descriptor);
    }
    for (size_t words = random() % 64; words > 0; --words) {
        // Half of them small, so that lengths and counts are sometimes plausible.
        data->writeInt32(static_cast<int32_t>(random() % 2 == 0 ? random() : random() % 32));
    }
}

/** The service is to write into a pipe that nobody will read. */
android::status_t HangUp(IBinder& service) {
    int ends[2];
    if (pipe(ends) != 0) {
        return -errno;
    }
    close(ends[0]);
    Parcel data;
    Parcel reply;
    data.writeFileDescriptor(ends[1], true);
    data.writeInt32(0);
    return service.transact(IBinder::DUMP_TRANSACTION, data, &reply);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: garbage_client SEED CALLS\n");
        return 2;
    }
    std::mt19937 random(static_cast<uint32_t>(atoi(argv[1])));
    const auto manager = android::defaultServiceManager();
    const auto service =
        manager == nullptr ? nullptr : manager->checkService(KVT::IKVTService::descriptor);
    if (service == nullptr) {
        fprintf(stderr, "garbage_client: no service\n");
        return 1;
    }
    if (const android::status_t status = HangUp(*service); status != -EIO) {
        fprintf(stderr, "garbage_client: a dump for nobody: status %d\n", status);
        return 1;
    }
    const std::vector<uint32_t> codes = Codes();
    for (int call = atoi(argv[2]); call > 0; --call) {
        Parcel data;
        Parcel reply;
        const uint32_t code = codes[random() % codes.size()];
        Fill(&data, random);
        const android::status_t status =
            service->transact(code, data, &reply, random() % 4 == 0 ? IBinder::FLAG_ONEWAY : 0);
        if (status == android::DEAD_OBJECT) {
            fprintf(stderr, "garbage_client: the service died of code %u\n", code);
            return 1;
        }
    }
    return 0;
}
