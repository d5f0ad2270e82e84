/* Does not compile: this jsmn.h has another token record. */
#define JSMN_STATIC
#include <jsmn.h>

#include <commonutilities/jsonparser.h>
