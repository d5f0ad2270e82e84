#include "include/customaction.h"

#include <dlfcn.h>

#include "include/configparams.h"

namespace {

/// A plug-in that is loaded for a scope.
class Plugin {
 public:
  Plugin(const char *directory, const char *file) {
    AmbrelLoadChildLibrary(directory, file, &handle_);
  }
  ~Plugin() { AmbrelUnloadChildLibrary(handle_); }
  Plugin(const Plugin &) = delete;
  Plugin &operator=(const Plugin &) = delete;

  explicit operator bool() const { return handle_ != nullptr; }

  AmbrelCustomActionMethod Method(const char *name) const {
    if (name == nullptr) return nullptr;
    return reinterpret_cast<AmbrelCustomActionMethod>(dlsym(handle_, name));
  }

 private:
  void *handle_ = nullptr;
};

}  // namespace

uint32_t executeAmbrelCustomAction(const AmbrelJsonCustomAction *action, uint32_t first,
                                   uint32_t second, rfAECommonConfigConfigParamArray *output) {
  if (action == nullptr || second == 0 || output == nullptr) return 0;

  const Plugin plugin(action->pluginpath, action->plugin);
  if (!plugin) return 0;
  const AmbrelCustomActionMethod method = plugin.Method(action->methodname);
  if (method == nullptr) return 0;
  if (cloneAmbrelCommonConfigParamList(&action->OutputParameterList, output) == 0) return 0;
  return method(first, second, output);
}
