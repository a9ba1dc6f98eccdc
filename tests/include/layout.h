#ifndef TESTS_LAYOUT_H
#define TESTS_LAYOUT_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One field of a record as a C compiler lays it out; `field` is "" for the record as a whole, `offset` then 0. */
struct LayoutRow {
    const char *record;
    const char *field;
    size_t offset;
    size_t size;
};

extern const struct LayoutRow layoutRows[];
extern const size_t layoutRowCount;

#ifdef __cplusplus
}
#endif

#endif /* TESTS_LAYOUT_H */
