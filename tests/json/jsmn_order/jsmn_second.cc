/* Does not compile: jsmn.h comes too late. */
#include <commonutilities/jsonparser.h>

#define JSMN_PARENT_LINKS
#define JSMN_STATIC
#include <jsmn.h>
