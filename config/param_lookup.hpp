// Finding a parameter by its name.
#ifndef COMMONUTILITIES_CONFIG_PARAM_LOOKUP_HPP
#define COMMONUTILITIES_CONFIG_PARAM_LOOKUP_HPP

#include <string_view>

#include "include/configparams.h"

namespace cu {

/// The first parameter with this name, or null.
rfAECommonConfigConfigParam *FindParameter(const rfAECommonConfigConfigParamArray &params,
                                           std::string_view name);

}  // namespace cu

#endif
