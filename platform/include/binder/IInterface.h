// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <binder/Binder.h>

#include <memory>

namespace android {

/** An interface that is called through a binder: implemented by its stub and by its proxy. */
class IInterface : public virtual RefBase {
  public:
    IInterface();

    static sp<IBinder> asBinder(const IInterface* iface);
    static sp<IBinder> asBinder(const sp<IInterface>& iface);

  protected:
    ~IInterface() override;

    virtual IBinder* onAsBinder() = 0;
};

template <typename INTERFACE>
inline sp<INTERFACE> interface_cast(const sp<IBinder>& obj) {
    return INTERFACE::asInterface(obj);
}

/** The stub of an interface: a local binder that is the interface, too. */
template <typename INTERFACE>
class BnInterface : public INTERFACE, public BBinder {
  public:
    sp<IInterface> queryLocalInterface(const String16& wanted) override {
        return wanted == INTERFACE::descriptor ? this : nullptr;
    }
    const String16& getInterfaceDescriptor() const override {
        return INTERFACE::getInterfaceDescriptor();
    }

  protected:
    typedef INTERFACE BaseInterface;
    IBinder* onAsBinder() override { return this; }
};

/** The proxy of an interface: sends each operation to the binder it holds. */
template <typename INTERFACE>
class BpInterface : public INTERFACE, public BpRefBase {
  public:
    explicit BpInterface(const sp<IBinder>& remote) : BpRefBase(remote) {}

  protected:
    typedef INTERFACE BaseInterface;
    IBinder* onAsBinder() override { return this->remote(); }
};

#define DECLARE_META_INTERFACE(INTERFACE)                                                         \
  public:                                                                                         \
    static const ::android::String16 descriptor;                                                  \
    static ::android::sp<I##INTERFACE> asInterface(const ::android::sp<::android::IBinder>& obj); \
    virtual const ::android::String16& getInterfaceDescriptor() const;                            \
    I##INTERFACE();                                                                               \
    virtual ~I##INTERFACE();                                                                      \
    static bool setDefaultImpl(std::unique_ptr<I##INTERFACE> impl);                               \
    static const std::unique_ptr<I##INTERFACE>& getDefaultImpl();                                 \
                                                                                                  \
  private:                                                                                        \
    static std::unique_ptr<I##INTERFACE> default_impl;                                            \
                                                                                                  \
  public:

#define IMPLEMENT_META_INTERFACE(INTERFACE, NAME)                             \
    const ::android::String16 I##INTERFACE::descriptor(NAME);                 \
    const ::android::String16& I##INTERFACE::getInterfaceDescriptor() const { \
        return I##INTERFACE::descriptor;                                      \
    }                                                                         \
    ::android::sp<I##INTERFACE> I##INTERFACE::asInterface(                    \
        const ::android::sp<::android::IBinder>& obj) {                       \
        ::android::sp<I##INTERFACE> intr;                                     \
        if (obj != nullptr) {                                                 \
            intr = static_cast<I##INTERFACE*>(                                \
                obj->queryLocalInterface(I##INTERFACE::descriptor).get());    \
            if (intr == nullptr) {                                            \
                intr = new Bp##INTERFACE(obj);                                \
            }                                                                 \
        }                                                                     \
        return intr;                                                          \
    }                                                                         \
    std::unique_ptr<I##INTERFACE> I##INTERFACE::default_impl;                 \
    bool I##INTERFACE::setDefaultImpl(std::unique_ptr<I##INTERFACE> impl) {   \
        if (I##INTERFACE::default_impl || !impl) {                            \
            return false;                                                     \
        }                                                                     \
        I##INTERFACE::default_impl = std::move(impl);                         \
        return true;                                                          \
    }                                                                         \
    const std::unique_ptr<I##INTERFACE>& I##INTERFACE::getDefaultImpl() {     \
        return I##INTERFACE::default_impl;                                    \
    }                                                                         \
    I##INTERFACE::I##INTERFACE() {}                                           \
    I##INTERFACE::~I##INTERFACE() {}

// As on the phone, PERMISSION_DENIED has to be in scope where this is used.
#define CHECK_INTERFACE(interface, data, reply) \
    do {                                        \
        if (!(data).checkInterface(this)) {     \
            return PERMISSION_DENIED;           \
        }                                       \
    } while (false)

}  // namespace android
