/* Writing a status document whose texts come from outside. */
#include <commonutilities/jsonwriter.h>

#include <stdio.h>

/* The writer puts texts into the document as they are: a quote in one would forge members. */
static int escape(const char *text, char *out, size_t size) {
  size_t used = 0;
  for (; *text != '\0'; ++text) {
    const unsigned char c = (unsigned char)*text;
    if (used + 7 > size) return 0;
    if (c == '"' || c == '\\') out[used++] = '\\';
    if (c < 0x20)
      used += (size_t)snprintf(out + used, 7, "\\u%04x", c);
    else
      out[used++] = (char)c;
  }
  out[used] = '\0';
  return 1;
}

static void add_text(JsonBox *box, const char *key, const char *text) {
  char escaped[256];
  JsonAddStringElement(box, key, escape(text, escaped, sizeof escaped) ? escaped : "too long");
}

int main(void) {
  static const float celsius[] = {41.5F, 39.25F};
  static const char *const fans[] = {"front", "rear"};
  JsonBox box = {NULL, 0, 0};
  JsonStartObject(NULL, &box);
  add_text(&box, "board", "carrier \"7\"\t\\lab");
  JsonAddUnsignedIntegerElement(&box, "uptime", 86412);
  JsonAddBooleanElement(&box, "healthy", 1);
  JsonStartArray("celsius", &box);
  for (int i = 0; i < 2; ++i) JsonAddFloatElement(&box, NULL, 2, celsius[i]);
  JsonEndArray(&box);
  /* Element by element: the array serialisers repeat the first text. */
  JsonStartArray("fans", &box);
  for (int i = 0; i < 2; ++i) add_text(&box, NULL, fans[i]);
  JsonEndArray(&box);
  JsonEndObject(&box);

  /* The element functions say 1 without memory, too: the text at the end is what counts. */
  const int ok = JsonFinalize(&box) && box.data != NULL;
  if (ok) puts(box.data);
  JsonFreeBox(&box);
  return ok ? 0 : 1;
}
