// What the view takes from a field: where its nodes lie, and what colours they have.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "embedded/store.h"
#include "embedded/view/canvas.h"

namespace zam::host::view {

using Point = std::array<double, 3>;

constexpr int kImageColorsId = 669;  // of components that are colours themselves: opacity, red, green, blue

/// p' = p x rows + origin, in double precision: positions of any size can be placed.
struct Affine {
    std::array<Point, 3> rows{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    Point origin{};

    static Affine from(const float matrix[16]);
    Point apply(const Point& p) const;
};

bool is_finite(const Point& p);

struct PointBox {
    Point low, high;

    PointBox();
    bool is_empty() const { return !(low[0] <= high[0]); }
    void extend(const Point& p);  // ignores points that are not finite
};

/// The nodes of a field, with the field's own transform. Borrows the field's arrays, which must not change
/// meanwhile.
class Nodes {
public:
    /// `nullopt` for a field that has no nodes or no positions for all of them.
    static std::optional<Nodes> of(Object& field);

    xp_long count() const { return count_; }
    /// Nodes along the axes of a structured field, 1 for axes that it lacks; `nullopt` for an unstructured one.
    const std::optional<std::array<xp_long, 3>>& dims() const { return dims_; }

    Point at(xp_long node) const;
    PointBox box() const;

private:
    /// Positions along one axis: listed, or evenly spaced.
    struct Axis {
        const float* listed = nullptr;
        xp_long stride = 1;
        xp_long count = 1;
        double low = 0, high = 0;

        double at(xp_long index) const;
    };

    bool read_positions(const Field& field);
    bool read_axes(const Field& field);

    xp_long count_ = 0;
    int nspace_ = 3;
    std::optional<std::array<xp_long, 3>> dims_;
    const float* coord_ = nullptr;  // null: by axes
    std::array<Axis, 3> axes_;
    Affine xform_;
};

/// The colours of an object.
class Paint {
public:
    /// @param given    the object's colour, if the network has one for it
    /// @param datamap  colours of component 0 by its first value, if the object has one
    /// @param cells    cells that the field has, for values that belong to cells
    /// @return `nullopt` if the datamap is broken
    static std::optional<Paint> of(const Field& field, const std::optional<Color>& given, Object* datamap,
                                   xp_long nodes, xp_long cells);

    Color at(xp_long node, xp_long cell) const {
        const xp_long place = source_ == Source::cells ? cell : node;
        if (source_ == Source::object || place < 0 || place >= count_) return color_;
        const unsigned char* entry = colors_.data() + 4 * place;
        if (entry[0] == kNone) return color_;
        return {static_cast<float>(entry[1]), static_cast<float>(entry[2]), static_cast<float>(entry[3])};
    }

private:
    enum class Source { object, nodes, cells };
    static constexpr unsigned char kNone = 0, kKnown = 1;  // in place of the opacity, which the view does not use

    void take_image_colors(const Component& component, xp_long nodes);
    bool map(const Component& component, Object& datamap, xp_long nodes, xp_long cells);

    Source source_ = Source::object;
    Color color_{255, 255, 255};
    std::vector<unsigned char> colors_;  // 4 bytes each
    xp_long count_ = 0;
};

}  // namespace zam::host::view
