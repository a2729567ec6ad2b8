// SPDX-License-Identifier: Apache-2.0
#include "service/BnKVTService.h"

#include "common/Log.h"
#include "service/Transactions.h"

namespace KVT {

using android::Parcel;
using android::status_t;

status_t BnKVTService::onTransact(uint32_t code, const Parcel& data, Parcel* reply,
                                  uint32_t flags) {
    const TransactionInfo* const row = FindTransaction(code);
    if (row == nullptr) {
        return BBinder::onTransact(code, data, reply, flags);
    }
    if (code == REGISTER_LISTENER) {
        KVT_LOGD("itapo into BnKVTService::RegisterListener");
    }
    if (row->checksToken && !data.checkInterface(this)) {
        return android::PERMISSION_DENIED;
    }
    const Receiver receiver{*this, mEvents, (flags & FLAG_ONEWAY) == 0};
    const status_t status = row->handle(*row, receiver, data, reply);
    return row->endsInBase() ? BBinder::onTransact(code, data, reply, flags) : status;
}

}  // namespace KVT
