// SPDX-License-Identifier: Apache-2.0
#include "linux/Properties.h"

#include <cutils/properties.h>

#include <android-base/file.h>
#include <android-base/macros.h>
#include <android-base/unique_fd.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <string_view>

#include "sync/Mutex.h"

namespace KVT {
namespace {

/** What a file holds; of anything else, which could keep the reader for ever, nothing. */
std::optional<std::string> ReadValue(const std::string& path) {
    const android::base::unique_fd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (file.get() < 0 || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    char text[PROPERTY_VALUE_MAX - 1];
    const ssize_t length = TEMP_FAILURE_RETRY(read(file.get(), text, sizeof(text)));
    if (length < 0) {
        return std::nullopt;
    }
    const std::string value(text, static_cast<size_t>(length));
    return value.substr(0, value.find('\n'));  // a person may have written it with an editor
}

/** The property service: a leaf lock around a map, or around a folder with a file per property. */
class PropertyStore {
  public:
    static PropertyStore& Get() {
        static PropertyStore store;
        return store;
    }

    void useFolder(const std::string& folder) {
        MutexLock lock(mMutex);
        mFolder = folder;
    }

    std::optional<std::string> find(const std::string& name) {
        MutexLock lock(mMutex);
        return findLocked(name);
    }

    bool set(const std::string& name, const std::string& value) {
        MutexLock lock(mMutex);
        if (name.rfind("ro.", 0) == 0 && findLocked(name).has_value()) {
            return false;
        }
        if (mFolder.empty()) {
            mValues[name] = value;
            return true;
        }
        const std::string path = mFolder + "/" + name;
        const std::string fresh = path + ".new." + std::to_string(getpid());
        unlink(fresh.c_str());  // whatever it is: it could keep the writer
        if (android::base::WriteStringToFile(value, fresh) &&
            rename(fresh.c_str(), path.c_str()) == 0) {
            return true;
        }
        unlink(fresh.c_str());
        return false;
    }

  private:
    PropertyStore() {
        if (const char* folder = getenv("KVT_PROPERTY_DIR"); folder != nullptr) {
            mFolder = folder;
        }
    }

    std::optional<std::string> findLocked(const std::string& name) REQUIRES(mMutex) {
        if (mFolder.empty()) {
            const auto found = mValues.find(name);
            return found == mValues.end() ? std::nullopt : std::optional(found->second);
        }
        return ReadValue(mFolder + "/" + name);
    }

    Mutex mMutex;
    std::string mFolder GUARDED_BY(mMutex);
    std::map<std::string, std::string> mValues GUARDED_BY(mMutex);
};

bool IsLegalName(const char* name) {
    return name != nullptr && name[0] != '\0' && name[0] != '.' && strchr(name, '/') == nullptr;
}

}  // namespace

void UsePropertyFolder(const std::string& folder) {
    PropertyStore::Get().useFolder(folder);
}

}  // namespace KVT

int property_set(const char* key, const char* value) {
    const std::string text = value == nullptr ? "" : value;
    if (!KVT::IsLegalName(key) || text.size() >= PROPERTY_VALUE_MAX) {
        return -1;
    }
    return KVT::PropertyStore::Get().set(key, text) ? 0 : -1;
}

int property_get(const char* key, char* value, const char* default_value) {
    std::string text;
    if (KVT::IsLegalName(key)) {
        text = KVT::PropertyStore::Get().find(key).value_or("");
    }
    if (text.empty() && default_value != nullptr) {
        text.assign(default_value, strnlen(default_value, PROPERTY_VALUE_MAX - 1));
    }
    memcpy(value, text.c_str(), text.size() + 1);
    return static_cast<int>(text.size());
}

int8_t property_get_bool(const char* key, int8_t default_value) {
    char text[PROPERTY_VALUE_MAX];
    property_get(key, text, "");
    const std::string_view value = text;
    for (const char* yes : {"1", "true", "y", "yes", "on"}) {
        if (value == yes) {
            return 1;
        }
    }
    for (const char* no : {"0", "false", "n", "no", "off"}) {
        if (value == no) {
            return 0;
        }
    }
    return default_value;
}
