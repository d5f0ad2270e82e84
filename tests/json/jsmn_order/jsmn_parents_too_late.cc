/* Does not compile: this jsmn.h has another token record, whatever is defined behind it. */
#define JSMN_STATIC
#include <jsmn.h>

#define JSMN_PARENT_LINKS
#include <commonutilities/jsonparser.h>
