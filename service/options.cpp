// The TE component's plug-in options: the first option block of
// /etc/te.conf handed to the platform's option parser.
#include "include/te_mor.h"
#include "platform/platform.h"

namespace {

constexpr const char *kOptionFile = "/etc/te.conf";

// Owns the option handle for one call and releases it once.
class OptionFile {
public:
    explicit OptionFile(const char *path) : handle_(PLUGIN_OptInit(path)) {}
    ~OptionFile() {
        if (handle_ != nullptr) PLUGIN_OptFini(handle_);
    }
    OptionFile(const OptionFile &) = delete;
    OptionFile &operator=(const OptionFile &) = delete;

    void *handle() const { return handle_; }

private:
    void *handle_;
};

}  // namespace

extern "C" TE_MOR_API uint32_t TE_Opt_Parse(uintptr_t callback, uintptr_t callbackContext) {
    uint32_t value = 0;
    OptionFile file(kOptionFile);
    if (file.handle() == nullptr) return TE_MOR_ERR_NOT_FOUND;
    char name[128];
    name[0] = 0;
    // Only the first block is used.
    void *block = PLUGIN_GetNextPlugOpt(file.handle(), name, &value);
    if (block == nullptr) return TE_MOR_ERR_FAIL;
    return OPT_ParseEx(value, block, callbackContext, callback);
}
