// SPDX-License-Identifier: Apache-2.0
#include <binder/Parcel.h>
#include <service/IKVTService.h>
#include <service/KVTManager.h>

int main() {
    android::Parcel data;
    data.writeInterfaceToken(KVT::IKVTService::descriptor);
    const bool refused = KVT::KVTManager::RegisterListener(nullptr) == -1;
    return refused && data.dataSize() > 0 ? 0 : 1;
}
