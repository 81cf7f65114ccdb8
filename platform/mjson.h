// The gateway's JSON document tree. On a gateway the device's own libmjson-1.5.so stands behind these declarations; on
// a desk the stand-in in platform/mjson/ does.
//
// A document is a tree of values. An object's children are labels (the member names); a label has exactly one child,
// the member's value; an array's children are its elements. Strings and numbers are kept and printed as the very bytes
// they were given: nothing is escaped, unescaped or converted. Children keep the order in which they were inserted, and
// equal labels stand side by side. Printed text has no white space.
#ifndef NUVEK_PLATFORM_MJSON_H
#define NUVEK_PLATFORM_MJSON_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct json_value json_value;

enum json_error {
  JSON_OK = 0,
  JSON_BAD_TREE = 1,  // null argument, a child that has a parent already, or a child its parent cannot take
  JSON_BAD_TEXT = 2,  // the text is not one JSON value (RFC 8259 structure and numbers, nothing after the value)
  JSON_TOO_DEEP = 3,  // more than JSON_DEPTH_MAX objects and arrays inside one another, in a library that has a bound
  JSON_NO_MEMORY = 4,
};

// Objects and arrays inside one another that every library must take, parsed or built: 1,024 bytes, the longest
// message, hold no more. The stand-in has no bound, and takes no more of the program's stack for a deep document than
// for a flat one.
#define JSON_DEPTH_MAX 512

// Each returns a new value without a parent, owned by the caller, or NULL when memory is out or `text` is NULL. The
// text is copied. A string made without a parent becomes a label when it is given a child.
json_value* json_new_object(void);
json_value* json_new_array(void);
json_value* json_new_string(const char* text);
json_value* json_new_number(const char* text);

// Appends `child` to `parent`: a label to an object, any value to an array, one value to a label. Returns JSON_OK, and
// `parent` owns `child` from then on; or another json_error, and nothing has changed.
int json_insert_child(json_value* parent, json_value* child);

// Prints the tree below `root`. Returns JSON_OK and a new NUL-terminated text in *text, to be released with free(); or
// another json_error and NULL.
int json_tree_to_string(const json_value* root, char** text);

// Parses a whole NUL-terminated text. Returns JSON_OK and a new tree in *root, owned by the caller; or another
// json_error and NULL. Inside a string every byte is allowed and a backslash protects the byte after it.
int json_parse_document(json_value** root, const char* text);

// The first label of `object` whose name equals `name` byte for byte (the raw bytes between the quotes), still owned by
// the tree; NULL when there is none or `object` is not an object.
json_value* json_find_first_label(const json_value* object, const char* name);

// The value of a label, still owned by the tree; NULL when `label` has none.
json_value* json_label_value(const json_value* label);

// The raw text of a string or number, living as long as the value; NULL for an object, an array, true, false and null.
const char* json_value_text(const json_value* value);

// Releases the tree below *value, which must have no parent, and sets *value to NULL. Returns JSON_OK, also when *value
// is NULL already; JSON_BAD_TREE when it has a parent, which then still owns it.
int json_free_value(json_value** value);

#ifdef __cplusplus
}
#endif

#endif
