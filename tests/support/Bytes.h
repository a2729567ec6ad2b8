// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/IBinder.h>
#include <binder/Parcel.h>

#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KVT {

using Bytes = std::vector<uint8_t>;

/**
 * Bytes written down by hand: pairs of hexadecimal digits, and quoted ASCII text. "'ab' 00 00" is
 * the C string ab, padded; a '~' before a quote writes each character as a UTF-16 unit.
 */
inline Bytes FromHex(std::string_view text) {
    Bytes bytes;
    bool wide = false;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '~') {
            wide = true;
        } else if (text[i] == '\'') {
            for (++i; text[i] != '\''; ++i) {
                bytes.push_back(static_cast<uint8_t>(text[i]));
                if (wide) {
                    bytes.push_back(0);
                }
            }
            wide = false;
        } else if (isxdigit(static_cast<unsigned char>(text[i])) != 0) {
            bytes.push_back(
                static_cast<uint8_t>(std::stoi(std::string(text.substr(i++, 2)), nullptr, 16)));
        }
    }
    return bytes;
}

inline Bytes BytesOf(const android::Parcel& parcel) {
    return {parcel.data(), parcel.data() + parcel.dataSize()};
}

inline void Fill(android::Parcel* parcel, const Bytes& bytes) {
    parcel->setData(bytes.data(), bytes.size());
    parcel->setDataPosition(0);
}

/** Status and reply. */
using Answer = std::pair<android::status_t, Bytes>;

/** Makes a call that waits, with a request of these bytes. */
inline Answer Transact(const android::sp<android::IBinder>& binder, uint32_t code,
                       const Bytes& request) {
    android::Parcel data;
    android::Parcel reply;
    Fill(&data, request);
    const android::status_t status = binder->transact(code, data, &reply);
    return {status, BytesOf(reply)};
}

/** The interface token of the service, as Android 10 writes it. */
inline constexpr const char* kServiceToken =
    "00 00 00 80  ff ff ff ff  0a 00 00 00 ~'KVTService' 00 00 00 00 ";

}  // namespace KVT
