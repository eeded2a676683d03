// Fields, cells, looks and a transform made of the bytes, drawn: a picture of the size asked for with depths from 0 to
// 1, or exactly one report.
#include <cmath>
#include <cstring>
#include <vector>

#include "contract/contract.h"
#include "embedded/view/view.h"
#include "fuzz/target.h"
#include "modules/support/host_array.h"

using namespace zam;
using fuzz::require;

namespace {

/// Makes choices by one byte after another, and by zeros after the last.
class Bytes {
public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

    int below(int n) { return next() % n; }
    /// Small numbers in steps of an eighth, and now and then any number.
    float number() {
        const std::uint8_t byte = next();
        if (byte < 250) return static_cast<float>(byte - 125) / 8.0F;
        std::uint8_t bytes[4] = {next(), next(), next(), next()};
        float any = 0.0F;
        std::memcpy(&any, bytes, sizeof any);
        return any;
    }
    std::vector<float> numbers(xp_long count) {
        std::vector<float> list(static_cast<std::size_t>(count));
        for (float& one : list) one = number();
        return list;
    }

private:
    std::uint8_t next() { return left_ == 0 ? std::uint8_t{0} : (--left_, *data_++); }

    const std::uint8_t* data_;
    std::size_t left_;
};

/// Hands an array to a setter of the host, which takes it over or refuses it.
template <class T, class Set>
void give(const std::vector<T>& values, Set set) {
    auto array = OutArray<T>::allocate(static_cast<xp_long>(values.size()));
    require(static_cast<bool>(array));
    std::copy(values.begin(), values.end(), array.data());
    if (set(array.data(), array.size(), ARR_HOST_OWNS) == 1) array.release();
}

void set_floats(OMobj_id parent, const char* name, const std::vector<float>& values) {
    host::set_values(host::create(parent, name, host::Kind::array), DTYPE_FLOAT, values.data(),
                     static_cast<xp_long>(values.size()));
}

void add_cells(OMobj_id field, Bytes& bytes, int index) {
    constexpr const char* kTypes[] = {"Point", "Line", "Polyline", "Tri", "Quad",
                                      "Tet",   "Hex",  "Prism",    "Pyr", "Polyhedron"};
    OMobj_id cells{};
    int polygons = 0, corners = 0;
    if (FLDadd_cell_set(field, kTypes[bytes.below(10)]) != 1 || FLDget_cell_set(field, index, &cells) != 1) return;
    FLDget_poly_flag(cells, &polygons);
    FLDget_cell_set_nnodes(cells, &corners);
    const int count = bytes.below(12);
    std::vector<xp_long> nodes(static_cast<std::size_t>(polygons != 0 ? 2 * count : count * corners));
    for (xp_long& node : nodes) node = bytes.below(40) - 2;  // some that do not exist
    polygons != 0 ? FLDset_npolys(cells, count) : FLDset_ncells(cells, count);
    const auto set = polygons != 0 ? FLDset_poly_connect : FLDset_node_connect;
    give(nodes, [&](auto... list) { return set(cells, list...); });
}

OMobj_id make_field(OMobj_id parent, Bytes& bytes, const std::string& name) {
    const OMobj_id field = host::create(parent, name, host::Kind::field);
    const int ndim = bytes.below(5);
    const int nspace = 1 + bytes.below(3);
    xp_long dims[4] = {}, nodes = 1;
    for (int axis = 0; axis < ndim; ++axis) nodes *= dims[axis] = bytes.below(6);
    if (ndim == 0) nodes = bytes.below(40);
    ndim > 0 ? (FLDset_ndim(field, ndim), FLDset_dims(field, dims)) : FLDset_nnodes(field, nodes);
    FLDset_nspace(field, nspace);
    const xp_long count = nspace * (ndim > 0 && bytes.below(2) == 0 ? 2 : nodes);
    const auto set = ndim > 0 && count == 2 * nspace ? FLDset_points : FLDset_coord;
    give(bytes.numbers(count), [&](auto... positions) { return set(field, positions...); });
    const int sets = bytes.below(3);
    for (int i = 0; i < sets; ++i) add_cells(field, bytes, i);
    const int veclen = bytes.below(6);
    if (veclen == 0) return field;
    FLDset_node_data_ncomp(field, 1);
    FLDset_node_data_veclen(field, 0, veclen);
    if (bytes.below(4) == 0) FLDset_node_data_id(field, 0, 669);
    const xp_long values = bytes.below(4) == 0 ? bytes.below(60) : nodes * veclen;
    const auto set_data = [&](auto* data, auto... rest) {
        return FLDset_node_data(field, 0, data, kTypeCode<std::remove_pointer_t<decltype(data)>>, rest...);
    };
    if (bytes.below(2) == 0)
        give(bytes.numbers(values), set_data);
    else
        give(std::vector<std::uint8_t>(static_cast<std::size_t>(values), 200), set_data);
    if (bytes.below(4) == 0) host::set_field_xform(field, bytes.numbers(16), bytes.numbers(3), bytes.numbers(3));
    return field;
}

void make_datamap(OMobj_id map, Bytes& bytes) {
    for (const char* limit : {"min", "max"})
        OMset_real_val(host::create(map, limit, host::Kind::real), static_cast<double>(bytes.number()));
    const std::vector<std::uint8_t> entries(static_cast<std::size_t>(bytes.below(20)), 77);
    for (const char* name : {"alpha", "red", "green", "blue"})
        host::set_values(host::create(map, name, host::Kind::array), DTYPE_BYTE, entries.data(),
                         static_cast<xp_long>(entries.size()));
}

/// Sets what the bytes choose of the view's parameters.
void choose(const fuzz::Instance& view, Bytes& bytes) {
    OMset_real_val(view.add("fptr", host::Kind::real), std::abs(static_cast<double>(bytes.number())));
    const int objects = 1 + bytes.below(3);
    const OMobj_id list = view.add("objects", host::Kind::objects);
    const OMobj_id maps = host::create(view.id, "datamaps", host::Kind::objects, host::Kind::group);
    OMset_array_size(list, objects);
    OMset_array_size(maps, bytes.below(3));
    for (int i = 0; i < objects; ++i) {
        const std::string place = "[" + std::to_string(i) + "]";
        OMset_obj_ref(host::find(list, place), make_field(view.id, bytes, "field" + std::to_string(i)));
        if (OMvalid_obj(host::find(maps, place)) == 1 && bytes.below(4) > 0)
            make_datamap(host::find(maps, place), bytes);
    }
    set_floats(view.id, "colors", bytes.numbers(bytes.below(10)));
    set_floats(view.id, "background", bytes.numbers(bytes.below(4)));
    if (bytes.below(2) == 0) return;
    const OMobj_id xform = view.add("xform", host::Kind::group);
    set_floats(xform, "mat", bytes.numbers(16));
    set_floats(xform, "xlate", bytes.numbers(3));
    if (bytes.below(2) == 0) set_floats(xform, "center", bytes.numbers(3));
}

void check_picture(OMobj_id out, xp_long pixels) {
    int type = 0;
    HostArray<float> depths;
    require(FLDget_node_data(out, 1, &type, depths.receive_untyped(), depths.receive_count(), ARR_READ) == 1);
    require(type == DTYPE_FLOAT && depths.size() == pixels);
    for (const float depth : depths.span()) require(depth >= 0.0F && depth <= 1.0F);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    const int width = bytes.below(48), height = bytes.below(48);
    fuzz::Instance view;
    view.set("width", width);
    view.set("height", height);
    const OMobj_id out = view.add("out", host::Kind::field);
    choose(view, bytes);
    const int result = host_view(view.id, 0, 0);
    require(view.reports == (result == 1 ? 0 : 1));
    if (result == 1) check_picture(out, xp_long{1} * width * height);
    return 0;
}
