/**
 * @file jsonnode.h
 * @brief JSON documents as trees of nodes, and typed JSON values.
 *
 * For documents whose shape is not known in advance: CreateDictionary() builds a tree from the
 * tokens that a document callback of jsonparser.h receives. Objects hold their members in a map,
 * arrays their elements in a stack, and strings and primitives their text. The tree keeps copies,
 * so it outlives the document.
 *
 * @code
 * static int OnDocument(const char *json, jsmntok_t *tokens, const char *label, uint32_t count,
 *                       void *user) {
 *   (void)label;
 *   return CreateDictionary(json, tokens, count, user) > 0 ? 0 : 1;
 * }
 *
 * JsonNode root = {0};
 * parseJson("/etc/demo/fans.json", "fans", OnDocument, &root);
 * JsonNode *node;
 * if (AmbrelFindJsonNode(&root, "Fans/Rear/Speed", NULL, &node))
 * puts(AmbrelGetValueFromElement(node)); AmbrelFreeJsonNode(&root);
 * @endcode
 *
 * **Limits.** Objects and arrays nest at most JSON_NODE_MAX_DEPTH deep; a deeper document is
 * refused as a whole. Building, searching and releasing do not recurse, so a thread with a small
 * stack may work on any tree. A path has at most 255 segments.
 *
 * **Thread safety.** Any number of threads may read one tree. Building and releasing it are for one
 * thread alone.
 *
 * **What surprises users.**
 * - Texts are kept as written: no escape is resolved, and `"5"` and `5` differ only in their
 *   origin.
 * - Of members with equal names the last one counts.
 * - A path goes through objects only; use AmbrelFindElementInArray() for the elements of arrays.
 * - AmbrelFindElementInArray() gives the node that the path leads to, not the element.
 */
#ifndef COMMONUTILITIES_JSONNODE_H
#define COMMONUTILITIES_JSONNODE_H

#include "commonutilities_api.h"
#include "jsonparser.h"
#include "stackmap.h"

CU_BEGIN_DECLS

/** Kinds of nodes. */
enum JsonNodeKind {
  JSON_NODE_VALUE = 0,  /**< a string or a primitive */
  JSON_NODE_OBJECT = 1, /**< members by name */
  JSON_NODE_ARRAY = 2   /**< elements in order */
};

/** How deep objects and arrays may nest, the outermost included. */
#define JSON_NODE_MAX_DEPTH 1024

/** A node of the tree. Its strings belong to it: read them, but do not replace or free them. */
typedef struct JsonNode {
  uint32_t kind; /**< one of JsonNodeKind */
  char *key;     /**< name of this member of its object; null for elements and the root */
  union {
    Map map;     /**< JSON_NODE_OBJECT: from member name to a JsonNode pointer */
    Stack stack; /**< JSON_NODE_ARRAY: JsonNode pointers in document order */
    struct {
      uint32_t word;   /**< zero */
      char *text;      /**< the text as written, without quotes; null for a missing element */
      uint32_t origin; /**< JSMN_PRIMITIVE, or 0 for a string */
      uint32_t zero;   /**< zero */
    } value;           /**< JSON_NODE_VALUE */
  } body;              /**< by kind */
  struct JsonNode *inserting;   /**< the member added last; for the library's own use */
  struct JsonNode *lastElement; /**< the element added last; for the library's own use */
} JsonNode;

/** Types of a JsonTypedValue. */
enum JsonDataType {
  JSON_TYPE_UINT8 = 1,
  JSON_TYPE_UINT16 = 2,
  JSON_TYPE_UINT32 = 3,
  JSON_TYPE_UINT64 = 4,
  JSON_TYPE_INT8 = 5,
  JSON_TYPE_INT16 = 6,
  JSON_TYPE_INT32 = 7,
  JSON_TYPE_INT64 = 8,
  JSON_TYPE_FLOAT = 9,
  JSON_TYPE_DOUBLE = 10,
  JSON_TYPE_STRING = 11, /**< bytes of a text */
  JSON_TYPE_HEX = 12     /**< bytes */
};

/** A value with its type. Byte arrays are values of type JSON_TYPE_STRING. */
typedef struct JsonTypedValue {
  uint32_t length; /**< bytes of the value */
  uint32_t type;   /**< one of JsonDataType */
  union {
    uint8_t uint8;
    uint16_t uint16;
    uint32_t uint32;
    uint64_t uint64;
    int8_t int8;
    int16_t int16;
    int32_t int32;
    int64_t int64;
    float single;
    double number;
    uint8_t *bytes; /**< JSON_TYPE_STRING and JSON_TYPE_HEX: heap memory, the caller's to free() */
  } value;          /**< the value, in the member of its type */
} JsonTypedValue;

/**
 * @brief Builds the tree of the document, or of the part of it, that begins at `tokens[0]`.
 *
 * Tokens beyond @p remaining are never read. What a cut document lacks stays empty: a member
 * without a value is an empty object, a missing element is a value without text.
 *
 * @param json      the document's text.
 * @param tokens    the tokens from the first one of the part on.
 * @param remaining number of tokens there are.
 * @param node      a zeroed record; on success release it with AmbrelFreeJsonNode().
 * @return the number of tokens used; -1 for a null argument; 0 with the node empty when there is no
 *         token, for a token of no known type, for a document that nests deeper than
 *         JSON_NODE_MAX_DEPTH, or without memory.
 */
CU_API int32_t CreateDictionary(const char *json, const jsmntok_t *tokens, uint32_t remaining,
                                JsonNode *node);

/**
 * @brief The elements of an array, one a call.
 *
 * @param node   the array.
 * @param cursor position of the next element; start with 0.
 * @return the element; null at the end, for any other kind of node or a null argument.
 */
CU_API JsonNode *AmbrelGetNextElementInArray(const JsonNode *node, uint32_t *cursor);

/**
 * @brief The text of a value.
 *
 * @param node the value.
 * @return the text, owned by the node; null for any other node or a null argument.
 */
CU_API char *AmbrelGetValueFromElement(const JsonNode *node);

/**
 * @brief Finds a node by the names that lead to it.
 *
 * @param root     where the path begins.
 * @param path     names with "/" between them; "" is the root itself. It is split as
 *                 tokenizeString() does: one "/" in front or at the end is skipped, and "//a" is
 *                 the single name "/a".
 * @param expected when not null, a value found must have this text. Objects and arrays are found
 *                 whatever is expected.
 * @param out      receives the node, which belongs to the tree.
 * @return 1; 0 with @p out left alone when there is no such node, the path leads through an array
 *         or a value, it has more than 255 names, or for a null root, path or out.
 */
CU_API int AmbrelFindJsonNode(JsonNode *root, const char *path, const char *expected,
                              JsonNode **out);

/**
 * @brief Finds the first element of an array in which AmbrelFindJsonNode() finds a node.
 *
 * @param arrayNode the array.
 * @param path      as for AmbrelFindJsonNode(), from the element on.
 * @param expected  as for AmbrelFindJsonNode().
 * @return the node found there, which for a @p path other than "" lies inside the element; null
 *         when no element matches, for any other kind of node or a null argument.
 */
CU_API JsonNode *AmbrelFindElementInArray(JsonNode *arrayNode, const char *path,
                                          const char *expected);

/**
 * @brief Releases everything that a node owns, and leaves it zeroed.
 *
 * The record itself is the caller's. Nodes inside of a tree are released with their root.
 *
 * @param node the node.
 * @return 1, also for null.
 */
CU_API int AmbrelFreeJsonNode(JsonNode *node);

/**
 * @brief The type that a name stands for.
 *
 * Names are exact: "uint8", "uint16", "uint32" or "unsigned integer", "uint64", "int32" or
 * "integer", "int64", "float", "double", "string" and "hex".
 *
 * @param name the name.
 * @return one of JsonDataType; 0 for any other name or null.
 */
CU_API uint32_t aeStringDataTypeToEnum(const char *name);

/**
 * @brief How long values of a type are.
 *
 * @param type one of JsonDataType.
 * @return bytes of a value of types 1 to 10; 0 for any other type.
 */
CU_API uint32_t aeGetJsonDataTypeSize(uint32_t type);

/**
 * @brief Reads a typed value from raw bytes in the machine's order; they need no alignment.
 *
 * @param type   one of JsonDataType, stored first: it is set even when the bytes are too few.
 * @param bytes  the bytes.
 * @param length number of bytes; those that a number does not need are ignored.
 * @param value  receives type, length and value. For JSON_TYPE_STRING and JSON_TYPE_HEX the value
 *               is a new terminated copy, the caller's to free(); what was there before is not
 *               freed.
 * @return 1; 0 for a null argument, a @p length of 0 or another type, with nothing stored; 0 for
 *         too few bytes or without memory.
 */
CU_API CU_MUST_USE int aeConvertDataBytesToJsonDataType(uint32_t type, const uint8_t *bytes,
                                                        uint32_t length, JsonTypedValue *value);

/**
 * @brief Stores a value's bytes as a byte array.
 *
 * @param value     the value, which stays as it is.
 * @param byteArray receives type JSON_TYPE_STRING, which is set even on failure, and the length and
 *                  a new terminated copy of the bytes, the caller's to free().
 * @return 1; 0 for a null argument, another type than those of JsonDataType, bytes that are null,
 *         or without memory.
 */
CU_API CU_MUST_USE int aeStoreJsonDataTypeInAEByteArray(const JsonTypedValue *value,
                                                        JsonTypedValue *byteArray);

/**
 * @brief Prints a number with the formatters of valueformat.h, including their limits.
 *
 * JSON_TYPE_INT64 prints its low 32 bits alone, 32-bit numbers print at most 9 characters, and
 * floating-point numbers have 9 decimals.
 *
 * @param value the number.
 * @param out   receives a new string, to be released with free().
 * @return 1; 0 for types outside 1 to 10, a null argument, or without memory.
 */
CU_API CU_MUST_USE int getJsonDataTypeAsString(const JsonTypedValue *value, char **out);

/**
 * @brief Converts a value to another type.
 *
 * Numbers convert as casts do: integers keep their low bits. Floating-point numbers lose their
 * fraction; for integers of up to 32 bits they are first brought into the range of 32 bits (300.0
 * as JSON_TYPE_UINT8 is 44), for those of 64 bits into that of 64; not-a-number becomes 0. Texts
 * and bytes are copied, and keep their own type whatever the target type.
 *
 * @param source     the value to convert.
 * @param targetType JSON_TYPE_UINT8 to JSON_TYPE_DOUBLE.
 * @param target     receives type, length and value; a copied text is a new block without
 *                   terminator, the caller's to free(). What was there before is not freed.
 * @return 1; 0 with @p target left alone for a null argument, a type out of range, bytes that are
 *         null, or without memory.
 */
CU_API CU_MUST_USE int aeConvertJsonDateTypeToJsonDataType(const JsonTypedValue *source,
                                                           uint32_t targetType,
                                                           JsonTypedValue *target);

CU_END_DECLS

#endif
