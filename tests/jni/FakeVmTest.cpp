// SPDX-License-Identifier: Apache-2.0
// What the bridge does with its state, and the failures that no real VM can be made to have.
#include <gmock/gmock.h>
#include <pthread.h>

#include <system_error>

#include "jni/KVTService_jni.h"
#include "tests/service/ClientSide.h"
#include "tests/support/LogCapture.h"

namespace KVT {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kNoAdapter = "E/KVTService_jni: jni: javaZrKVTScene is NULL";
constexpr const char* kNoMethod = "E/KVTService_jni: jni: setGameFps is NULL";
constexpr const char* kNoAttach = "E/KVTService_jni: jni: AttachCurrentThread failed";

/** A VM whose every answer the test decides. */
class FakeVm : public testing::Test {
  public:
    FakeVm() {
        sVm = this;
        mVmTable.GetEnv = [](JavaVM*, void** result, jint asked) -> jint {
            *result = asked == sVm->version ? &sVm->env : nullptr;
            return *result != nullptr ? JNI_OK : JNI_EVERSION;
        };
        mVmTable.AttachCurrentThread = [](JavaVM*, void** result, void* arguments) -> jint {
            EXPECT_EQ(arguments, nullptr);
            *result = sVm->attachGivesEnv ? &sVm->env : nullptr;
            return sVm->attachResult;
        };
        mEnvTable.NewGlobalRef = [](JNIEnv*, jobject object) {
            sVm->calls.push_back("keep");
            return object;
        };
        mEnvTable.ExceptionCheck = [](JNIEnv*) -> jboolean { return sVm->pending; };
        mEnvTable.ExceptionDescribe = [](JNIEnv*) { sVm->calls.push_back("describe"); };
        mEnvTable.ExceptionClear = [](JNIEnv*) {
            sVm->pending = JNI_FALSE;
            sVm->calls.push_back("clear");
        };
        mEnvTable.GetObjectClass = [](JNIEnv*, jobject) -> jclass {
            EXPECT_FALSE(sVm->pending);
            return sVm->adapterClass;
        };
        mEnvTable.GetStaticMethodID = [](JNIEnv*, jclass, const char* name,
                                         const char* signature) -> jmethodID {
            EXPECT_STREQ(name, "setGameFps");
            EXPECT_STREQ(signature, "(I)V");
            return sVm->method;
        };
        mEnvTable.CallStaticVoidMethodV = [](JNIEnv*, jclass, jmethodID, va_list arguments) {
            sVm->calls.push_back("call " + std::to_string(va_arg(arguments, jint)));
        };
        mEnvTable.DeleteLocalRef = [](JNIEnv*, jobject) { sVm->calls.push_back("delete"); };
        vm.functions = &mVmTable;
        env.functions = &mEnvTable;
    }

    void report(int32_t fps) {
        const android::sp<KVTListener> listener = new KVTGameFpsListener;
        listener->NotifyGameFpsToAps(fps);
    }
    void registerListener() {
        Java_com_norvik_android_zraps_ApsKVTAdapter_nativeKVTRegisterListener(
            &env, reinterpret_cast<jobject>(&mAdapter));
    }
    void unregisterListener() {
        Java_com_norvik_android_zraps_ApsKVTAdapter_nativeKVTUnRegisterListener(
            &env, reinterpret_cast<jobject>(&mAdapter));
    }

    JavaVM vm{};
    JNIEnv env{};
    jint version = 0x10006;
    jint attachResult = JNI_OK;
    bool attachGivesEnv = true;
    jboolean pending = JNI_FALSE;
    jclass adapterClass = reinterpret_cast<jclass>(&mAdapter);
    jmethodID method = reinterpret_cast<jmethodID>(&mAdapter);
    std::vector<std::string> calls;
    LogCapture log;

  private:
    static FakeVm* sVm;
    JNIInvokeInterface_ mVmTable{};
    JNINativeInterface_ mEnvTable{};
    int mAdapter = 0;
};
FakeVm* FakeVm::sVm = nullptr;

TEST_F(FakeVm, MustSpeakTheVersion) {
    EXPECT_EQ(JNI_OnLoad(&vm, nullptr), 0x10006);
    EXPECT_THAT(log.take(), IsEmpty());
    version = 0x10004;
    EXPECT_EQ(JNI_OnLoad(&vm, nullptr), -1);
    EXPECT_THAT(log.take(), ElementsAre("E/KVTService_jni: jni: JNI version mismatch error"));
}

TEST_F(FakeVm, IsNotNeededForAReportToBeDropped) {
    report(60);
    EXPECT_THAT(log.take(), ElementsAre(kNoAdapter));
    EXPECT_EQ(GetCurrentThreadEnv(), nullptr);
    EXPECT_THAT(log.take(), IsEmpty());
}

TEST_F(FakeVm, DropsAReportThatCanNotBeDelivered) {
    JNI_OnLoad(&vm, nullptr);
    report(60);
    EXPECT_THAT(log.take(), ElementsAre(kNoAdapter)) << "before any call from Java";
    unregisterListener();  // which makes the adapter known, too

    attachResult = JNI_ERR;
    report(60);
    EXPECT_THAT(log.take(), ElementsAre(kNoAttach, kNoAdapter));
    attachResult = JNI_OK;
    attachGivesEnv = false;
    report(60);
    EXPECT_THAT(log.take(), ElementsAre(kNoAttach, kNoAdapter));
    attachGivesEnv = true;

    const jclass known = adapterClass;
    adapterClass = nullptr;
    EXPECT_EQ(HandleReportStallEvent(&env, 60), -1);
    EXPECT_THAT(log.take(), ElementsAre(kNoAdapter));
    adapterClass = known;
    method = nullptr;
    EXPECT_EQ(HandleReportStallEvent(&env, 60), -1);
    EXPECT_THAT(log.take(), ElementsAre(kNoMethod));
    EXPECT_THAT(calls, ElementsAre("keep"));
}

TEST_F(FakeVm, RegistersOnceUntilItForgetsAndReports) {
    const android::sp<ListenedService> service = new ListenedService;
    Publish(service);
    JNI_OnLoad(&vm, nullptr);
    registerListener();
    ASSERT_TRUE(service->awaitListeners(1));
    registerListener();
    EXPECT_THAT(log.take(), ElementsAre("E/KVTService_jni: jni: kvt has registered listener"));
    unregisterListener();
    unregisterListener();
    registerListener();
    ASSERT_TRUE(service->awaitListeners(2)) << "the service keeps the first one";
    EXPECT_THAT(log.take(), IsEmpty());
    EXPECT_THAT(service->take(), ElementsAre("RegisterListener", "RegisterListener"));
    service->ReportGameFps(60);
    EXPECT_THAT(calls, ElementsAre("keep", "call 60", "delete", "call 60", "delete"));
    calls.clear();
    pending = JNI_TRUE;  // as the call would have left it
    report(61);
    EXPECT_THAT(calls, ElementsAre("describe", "clear", "call 61", "delete"));
    for (const android::sp<IKVTListener>& listener : service->listeners()) {
        service->UnRegisterListener(listener);  // they hold each other
    }
}

TEST_F(FakeVm, SaysThatARegistrationCouldNotStart) {
    // A stack beyond every address space: no thread can have it.
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, size_t{1} << 50), 0);
    ASSERT_EQ(pthread_setattr_default_np(&attributes), 0);
    pthread_attr_destroy(&attributes);
    try {
        registerListener();
        ADD_FAILURE() << "no exception";
    } catch (const std::system_error& error) {
        EXPECT_THAT(error.what(), testing::StartsWith("thread constructor failed"));
    }
}

}  // namespace
}  // namespace KVT
