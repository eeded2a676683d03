// Fields: meshes with node data, cell sets and time steps.
//
// Every operation takes the handle of a field, of one of its cell sets or of one of its time steps first and returns
// its status, 1 for success. References are followed. Components, cell sets and steps count from 0. A size in array
// calls counts values of the type code (nnodes x veclen for node data), bytes for type code 0. Arrays from a getter
// are lent and go back through ARRfree_f; arrays given to a setter follow the hand-over modes of contract/types.h.
//
// A structured field is built in the order ndim, dims, nspace, points or coordinates, then node data, since each call
// sizes what the next one fills; an unstructured one as nnodes, nspace, coordinates, cell sets, node data.
#pragma once

#include "contract/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Grid types. A module may rely on this much: 1 and 2 have positions that follow from `points`, others explicit ones.
enum { FLD_UNIFORM = 1, FLD_RECTILINEAR = 2, FLD_STRUCTURED = 3, FLD_UNSTRUCTURED = 4 };

/// Buffers that receive labels, units and names: texts are cut to fit, terminator included.
enum { FLD_LABEL_SIZE = 1024 };

// --- Mesh ---

/// Coordinate components per node: 1, 2 or 3.
ZAM_HOST_API int FLDget_nspace(OMobj_id field, int* nspace);
ZAM_HOST_API int FLDset_nspace(OMobj_id field, int nspace);

/// Number of dimensions of a structured field; dims start as 0.
ZAM_HOST_API int FLDset_ndim(OMobj_id field, int ndim);

/// Nodes along each dimension. The array is lent; fails for a field without dimensions.
ZAM_HOST_API int FLDget_dims(OMobj_id field, xp_long** dims, int* ndim);

/// Copies ndim values; the node count becomes their product.
ZAM_HOST_API int FLDset_dims(OMobj_id field, const xp_long* dims);

/// Setting a count that is not the product of the dims makes the field unstructured, unless it stands between
/// FLDset_ndim and FLDset_dims.
ZAM_HOST_API int FLDget_nnodes(OMobj_id field, xp_long* nnodes);
ZAM_HOST_API int FLDset_nnodes(OMobj_id field, xp_long nnodes);

/// One of the FLD_ grid types above.
ZAM_HOST_API int FLDget_grid_type(OMobj_id field, int* grid_type);

/// Number of points: 2 for a uniform field (corners), the sum of dims for a rectilinear one.
ZAM_HOST_API int FLDget_npoints(OMobj_id field, xp_long* npoints);
ZAM_HOST_API int FLDset_npoints(OMobj_id field, xp_long npoints);

/// Points: nspace floats each; `size` counts floats.
ZAM_HOST_API int FLDget_points(OMobj_id field, float** points, xp_long* size, int mode);
ZAM_HOST_API int FLDset_points(OMobj_id field, float* points, xp_long size, int mode);

/// Explicit coordinates: nspace floats per node, node after node; `size` counts floats.
ZAM_HOST_API int FLDget_coord(OMobj_id field, float** coord, xp_long* size, int mode);
ZAM_HOST_API int FLDset_coord(OMobj_id field, float* coord, xp_long size, int mode);

/// Corners of the field's box, nspace floats each. The getter computes them from the mesh if none were set.
ZAM_HOST_API int FLDget_coord_extent(OMobj_id field, float* minimum, float* maximum);
ZAM_HOST_API int FLDset_coord_extent(OMobj_id field, const float* minimum, const float* maximum, int nspace);

/// Places the field in the scene: 16 floats, row vectors.
ZAM_HOST_API int FLDget_xform(OMobj_id field, float xform[16]);
ZAM_HOST_API int FLDset_xform(OMobj_id field, const float xform[16]);

// --- Node data ---

ZAM_HOST_API int FLDget_node_data_ncomp(OMobj_id field, int* ncomp);

/// Changes the number of components; kept ones keep what they hold.
ZAM_HOST_API int FLDset_node_data_ncomp(OMobj_id field, int ncomp);

/// Declares one component at once. Null texts leave label or units empty.
ZAM_HOST_API int FLDset_node_data_comp(OMobj_id field, int comp, int veclen, const char* label, const char* units);

ZAM_HOST_API int FLDget_node_data_veclen(OMobj_id field, int comp, int* veclen);
ZAM_HOST_API int FLDset_node_data_veclen(OMobj_id field, int comp, int veclen);

ZAM_HOST_API int FLDget_node_data_type(OMobj_id field, int comp, int* type);
ZAM_HOST_API int FLDset_node_data_type(OMobj_id field, int comp, int type);

/// The component's values, lent. With ARR_WRITE an absent array is made from the node count, veclen and type.
ZAM_HOST_API int FLDget_node_data(OMobj_id field, int comp, int* type, void** data, xp_long* size, int mode);

/// Replaces the component's values; a minimum and maximum set before no longer hold.
ZAM_HOST_API int FLDset_node_data(OMobj_id field, int comp, void* data, int type, xp_long size, int mode);

/// Label and units. The getters fill a buffer of `size` bytes, FLD_LABEL_SIZE in all modules.
ZAM_HOST_API int FLDget_node_data_label(OMobj_id field, int comp, char* label, int size);
ZAM_HOST_API int FLDset_node_data_label(OMobj_id field, int comp, const char* label);
ZAM_HOST_API int FLDget_node_data_units(OMobj_id field, int comp, char* units, int size);
ZAM_HOST_API int FLDset_node_data_units(OMobj_id field, int comp, const char* units);

/// Role of the component for the renderer; 669 marks image colours.
ZAM_HOST_API int FLDget_node_data_id(OMobj_id field, int comp, int* id);
ZAM_HOST_API int FLDset_node_data_id(OMobj_id field, int comp, int id);

/// Minimum and maximum, each one value of the component's type. The getter computes them if none were set; null
/// values and NaNs do not count. Fails for a component without values.
ZAM_HOST_API int FLDget_node_data_minmax(OMobj_id field, int comp, void* minimum, void* maximum);
ZAM_HOST_API int FLDset_node_data_minmax(OMobj_id field, int comp, const void* minimum, const void* maximum, int type);

/// Copies minimum and maximum of `source_comp` of `source` to `comp` of `field`.
ZAM_HOST_API int FLDcopy_node_minmax(OMobj_id field, OMobj_id source, int comp, int source_comp);

/// Null value: one value of the component's type; `flag` is 0 if there is none (the value is then not written).
ZAM_HOST_API int FLDget_node_null_data(OMobj_id field, int comp, int* flag, void* value);
ZAM_HOST_API int FLDset_node_null_data(OMobj_id field, int comp, const void* value, int type);
ZAM_HOST_API int FLDset_node_null_flag(OMobj_id field, int comp, int flag);

// --- Cell sets ---

ZAM_HOST_API int FLDget_ncell_sets(OMobj_id field, int* count);
ZAM_HOST_API int FLDset_ncell_sets(OMobj_id field, int count);

/// Handle of cell set `index`; valid as long as the field has that cell set.
ZAM_HOST_API int FLDget_cell_set(OMobj_id field, int index, OMobj_id* cell_set);

/// Appends a cell set of a type: "Point", "Line", "Tri", "Quad", "Tet", "Hex", "Prism", "Pyr", "Polyline",
/// "Polyhedron".
ZAM_HOST_API int FLDadd_cell_set(OMobj_id field, const char* type_name);

/// Gives a cell set its type, and with it its nodes per cell and its poly flag. The handle is the cell set's.
ZAM_HOST_API int FLDset_cell_set(OMobj_id cell_set, const char* type_name);
ZAM_HOST_API int FLDget_cell_set_name(OMobj_id cell_set, char* type_name, int size);

ZAM_HOST_API int FLDget_ncells(OMobj_id cell_set, xp_long* ncells);
ZAM_HOST_API int FLDset_ncells(OMobj_id cell_set, xp_long ncells);

/// Nodes per cell.
ZAM_HOST_API int FLDget_cell_set_nnodes(OMobj_id cell_set, int* nnodes);

/// Node list: ncells x nodes per cell indices. With ARR_WRITE an absent list is made.
ZAM_HOST_API int FLDget_node_connect(OMobj_id cell_set, xp_long** connect, xp_long* size, int mode);
ZAM_HOST_API int FLDset_node_connect(OMobj_id cell_set, xp_long* connect, xp_long size, int mode);

/// Polygon cell sets: whether it is one, the number of polygons, nodes per polygon, and the node list (for polylines
/// the first and last node of each).
ZAM_HOST_API int FLDget_poly_flag(OMobj_id cell_set, int* flag);
ZAM_HOST_API int FLDget_npolys(OMobj_id cell_set, xp_long* npolys);
ZAM_HOST_API int FLDset_npolys(OMobj_id cell_set, xp_long npolys);
ZAM_HOST_API int FLDget_poly_nnodes(OMobj_id cell_set, xp_long** counts, xp_long* size, int mode);
ZAM_HOST_API int FLDget_poly_connect(OMobj_id cell_set, xp_long** connect, xp_long* size, int mode);
ZAM_HOST_API int FLDset_poly_connect(OMobj_id cell_set, xp_long* connect, xp_long size, int mode);

// --- Time ---

/// Number of time steps; the steps are filled through their handles.
ZAM_HOST_API int FLDset_time_nsteps(OMobj_id field, int nsteps);

/// Copies one time value per step.
ZAM_HOST_API int FLDset_time_values(OMobj_id field, const float* values, int count);

/// Handle of a step's coordinates or node data. It takes the mesh or node data operations above; node count, dims and
/// nspace are the field's.
ZAM_HOST_API int FLDget_time_coordinates(OMobj_id field, int step, OMobj_id* coordinates);
ZAM_HOST_API int FLDget_time_node_data(OMobj_id field, int step, OMobj_id* node_data);

// --- Creation ---

/// Creates a field below `parent`, replacing one of the same name.
/// @param created   receives its handle
/// @param flag      0
/// @param name      of the new object
/// @param template_name  "Mesh_Unif Node_Data", "Mesh_Rect Node_Data", "Mesh_Struct Node_Data" or, with time steps,
///                  "Mesh_Unif Time_Node_Data", "Mesh_Rect Time_Node_Data", "Time_Mesh_Struct Time_Node_Data"
ZAM_HOST_API int FLDcreate(OMobj_id parent, OMobj_id* created, int flag, const char* name, const char* template_name);

#ifdef __cplusplus
}
#endif
