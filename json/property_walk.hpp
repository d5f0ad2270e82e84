// The walk behind processObject(), for the library's own readers.
#ifndef COMMONUTILITIES_JSON_PROPERTY_WALK_HPP
#define COMMONUTILITIES_JSON_PROPERTY_WALK_HPP

#include <stdint.h>

#include "include/rfvalues.h"

namespace cu {

/// processObject() without the arguments that it does not read.
int32_t WalkProperties(JsonWalkContext *context, int32_t end, void *record,
                       rfDeserializeFn deserializer);

/// What a document callback does: walks a whole document into a zeroed record. 1 when an argument
/// is null, otherwise 0, whatever the walk gave.
int32_t WalkDocument(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
                     void *record, rfDeserializeFn deserializer);

}  // namespace cu

#endif
