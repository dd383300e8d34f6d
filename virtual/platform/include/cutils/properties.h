/* System properties, as Android's libcutils offers them. */
#ifndef CUTILS_PROPERTIES_H
#define CUTILS_PROPERTIES_H

#ifdef __cplusplus
extern "C" {
#endif

#define PROPERTY_KEY_MAX 32
#define PROPERTY_VALUE_MAX 92

/* Copies the property's value (or the default, or nothing) into value, PROPERTY_VALUE_MAX bytes, always terminated.
   Returns its length. Any thread. */
int property_get(const char *key, char *value, const char *default_value);
/* 0, or -1: key or value too long or not storable. Any thread. */
int property_set(const char *key, const char *value);

#ifdef __cplusplus
}
#endif
#endif
