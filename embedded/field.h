// What a field holds: its shape, positions, node data, cell sets and time steps.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "contract/types.h"
#include "embedded/array.h"
#include "embedded/number.h"

namespace zam::host {

struct Object;

/// Corners of a box.
struct Box {
    std::array<float, 3> minimum{};
    std::array<float, 3> maximum{};
};

/// Positions of a field or of one of its time steps.
struct Mesh {
    Array points;  // nspace floats each
    Array coord;   // nspace floats per node
    std::optional<Box> extent;
    Derived<Box> computed;

    void drop_points();
    void drop_coord();
    void drop_positions() {
        drop_points();
        drop_coord();
    }
};

/// Minimum and maximum of a component.
struct Limits {
    Number minimum;
    Number maximum;
};

struct Component {
    int veclen = 0;  // 0: not declared
    int type = -1;   // -1: not declared
    std::string label;
    std::string units;
    int id = 0;
    Array values;
    bool has_null = false;
    Number null_value = Number(0);
    std::optional<Limits> limits;
    Derived<Limits> computed;
    std::optional<std::array<double, 2>> scaled_from;  // what the type's lowest and highest value stand for

    void drop_values();
};

struct NodeData {
    std::vector<Component> components;
};

/// Node count and what it follows from. All steps of a field share it.
struct Shape {
    int nspace = 0;            // 0: not set
    int ndim = 0;              // 0: no dimensions
    bool dims_follow = false;  // ndim has been set, its dims have not
    Array dims;                // ndim of xp_long
    xp_long nnodes = 0;
    xp_long npoints = -1;   // -1: not set
    int declared_type = 0;  // grid type that the field was made with; 0: it follows from what is set
    int inferred_type = 0;  // from the latest points or coordinates; 0: not yet known
};

/// A kind of cell.
struct CellType {
    const char* name;
    int nnodes;  // nodes per cell; 0 where cells differ
    bool poly;
};

/// The cell type of a name, or null.
const CellType* find_cell_type(const char* name);

struct CellSet {
    const CellType* type = nullptr;
    xp_long ncells = 0;
    Array connect;
    xp_long npolys = 0;
    Array poly_nnodes;
    Array poly_connect;
};

/// Objects of one time step; null until they are first asked for.
struct Step {
    Object* coordinates = nullptr;
    Object* node_data = nullptr;
};

struct Field {
    Shape shape;
    Mesh mesh;
    NodeData data;
    std::vector<Object*> cell_sets;
    std::vector<Step> steps;
    std::vector<float> time_values;
};

/// What a handle given to a field operation stands for: a field, a step's coordinates or a step's node data.
struct FieldPart {
    Object* object = nullptr;
    Field* field = nullptr;    // the field, or the one that the step belongs to
    Mesh* mesh = nullptr;      // null for a step's node data
    NodeData* data = nullptr;  // null for a step's coordinates

    explicit operator bool() const { return object != nullptr; }
};

/// References are followed; empty if the handle stands for none of these.
FieldPart field_part(OMobj_id handle);

/// A component of a field or of a step's node data; null if there is none.
Component* find_component(OMobj_id handle, int comp);

/// The field itself; null if the handle stands for something else.
Field* find_field(OMobj_id handle);

int grid_type(const Field& field);

/// Number of positions along all axes together.
xp_long sum_of_dims(const Shape& shape);

/// Calls `visit` for the mesh of the field and of every step.
void for_each_mesh(Field& field, void (*visit)(Mesh&));

/// Box of the positions of a mesh of `field`, computed if need be; `nullopt` if it has none.
std::optional<Box> mesh_box(const Field& field, Mesh& mesh);

/// Smallest and largest coordinate over all components.
struct Range {
    double minimum;
    double maximum;
};
std::optional<Range> coordinate_range(Field& field);

/// Sets the node count; coordinates and values of another count are dropped, in all steps.
void set_node_count(Field& field, xp_long nnodes);

}  // namespace zam::host
