// A host that shares nothing with the embedded one: as much of the contract as the cone takes, with variables in place
// of objects. Operations that are not here are stubs, which name themselves and end the program.
#include <math.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "contract/arr.h"
#include "contract/err.h"
#include "contract/fld.h"
#include "contract/om.h"

enum { NOTHING, INSTANCE, OUT, CELL_SET };
enum { DIV = 1, OFFSET, LENGTH, RADIUS, OUT_NAME, UNKNOWN };

static struct {
    int nspace;
    xp_long nnodes, ncells, coord_size, connect_size;
    float* coord;
    xp_long* connect;
    int arrays;  // allocated and not freed, handed over or not
    int reports;
} host;

static OMobj_id handle(uintptr_t object) { return (OMobj_id){{object, 0}}; }

OMobj_name OMstr_to_name(const char* text) {
    static const char* const names[] = {
        [DIV] = "div", [OFFSET] = "offset", [LENGTH] = "length", [RADIUS] = "radius", [OUT_NAME] = "out"};
    OMobj_name name = DIV;
    while (name < UNKNOWN && strcmp(names[name], text) != 0) ++name;
    return name;
}
OMobj_id OMfind_subobj(OMobj_id parent, OMobj_name name, int mode) {
    return handle(parent.word[0] == INSTANCE && name == OUT_NAME && mode == OM_OBJ_RW ? OUT : NOTHING);
}
int OMget_name_real_val(OMobj_id object, OMobj_name name, double* value) {
    static const double values[] = {[DIV] = 4, [OFFSET] = 1, [LENGTH] = 2, [RADIUS] = 3};
    if (object.word[0] != INSTANCE || name > RADIUS) return OM_STAT_FAILURE;
    *value = values[name];
    return OM_STAT_SUCCESS;
}
int OMget_name_int_val(OMobj_id object, OMobj_name name, int* value) {
    double real = 0;
    if (OMget_name_real_val(object, name, &real) != OM_STAT_SUCCESS) return OM_STAT_FAILURE;
    *value = (int)real;
    return OM_STAT_SUCCESS;
}

void* ARRalloc_f(void* reserved, int type, xp_long count, int zero, const char* file, int line) {
    (void)reserved, (void)zero, (void)file, (void)line;
    ++host.arrays;
    return malloc((size_t)count * (type == DTYPE_FLOAT ? sizeof(float) : sizeof(xp_long)));
}
void ARRfree_f(void* array, const char* file, int line) {
    (void)file, (void)line;
    if (array) --host.arrays;
    free(array);
}
void ERRverror(const char* label, int flags, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fprintf(stderr, "%s %d: ", label, flags);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
    ++host.reports;
}

int FLDset_nnodes(OMobj_id field, xp_long nnodes) { return (host.nnodes = nnodes, field.word[0] == OUT); }
int FLDset_nspace(OMobj_id field, int nspace) { return (host.nspace = nspace, field.word[0] == OUT); }
int FLDset_coord(OMobj_id field, float* coord, xp_long size, int mode) {
    host.coord = coord;
    host.coord_size = size;
    return field.word[0] == OUT && mode == ARR_HOST_OWNS;
}
int FLDget_cell_set(OMobj_id field, int index, OMobj_id* cell_set) {
    *cell_set = handle(CELL_SET);
    return field.word[0] == OUT && index == 0;
}
int FLDset_ncells(OMobj_id cell_set, xp_long ncells) { return (host.ncells = ncells, cell_set.word[0] == CELL_SET); }
int FLDset_node_connect(OMobj_id cell_set, xp_long* connect, xp_long size, int mode) {
    host.connect = connect;
    host.connect_size = size;
    return cell_set.word[0] == CELL_SET && mode == ARR_HOST_OWNS;
}

/// Calls the cone's entry for four segments. @return whether it made these, without a report, and gave both arrays away
ZAM_CONTRACT_EXPORT int makes_cone(int (*update)(OMobj_id instance, unsigned event_mask, int seq)) {
    static const float nodes[6][3] = {{1, 0, 0}, {3, 0, 0}, {1, 3, 0}, {1, 0, 3}, {1, -3, 0}, {1, 0, -3}};
    static const xp_long triangles[8][3] = {{0, 3, 2}, {1, 2, 3}, {0, 4, 3}, {1, 3, 4},
                                            {0, 5, 4}, {1, 4, 5}, {0, 2, 5}, {1, 5, 2}};
    int right = update(handle(INSTANCE), 0, 0) == 1 && host.reports == 0 && host.arrays == 2 && host.nspace == 3 &&
                host.nnodes == 6 && host.coord_size == 18 && host.ncells == 8 && host.connect_size == 24 &&
                memcmp(host.connect, triangles, sizeof triangles) == 0;
    for (int i = 0; right && i < 18; ++i) right = fabsf(host.coord[i] - nodes[i / 3][i % 3]) < 1e-6F;
    ARRfree_f(host.coord, __FILE__, __LINE__);
    ARRfree_f(host.connect, __FILE__, __LINE__);
    return right;
}
