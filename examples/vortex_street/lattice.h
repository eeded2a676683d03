// Flow of an incompressible fluid round a cylinder in two dimensions, by the lattice Boltzmann method.
//
// D2Q9 with two relaxation times: the second one is tied to the first so that walls lie half-way between nodes whatever
// the viscosity. Lattice units: a node apart, a step of time, density near 1.
//
// Sources: Krueger et al., "The Lattice Boltzmann Method", chapters 3, 5 and 10; Ginzburg, Verhaeghe and d'Humieres,
// Communications in Computational Physics 3 (2008), for the two relaxation times.
#pragma once

#include <array>
#include <cstddef>
#include <utility>
#include <vector>

namespace zam::examples {

struct Channel {
    int width, height;  // nodes
    double cylinder_x, cylinder_y;
    double diameter;  // nodes
    double speed;     // of the stream, nodes a step; well below the speed of sound 1/sqrt(3)
    double reynolds;  // speed * diameter / viscosity
};

class Lattice {
public:
    explicit Lattice(const Channel& channel);

    void step();

    /// Velocity at a node, lattice units; 0 inside the cylinder.
    std::array<double, 2> velocity(int x, int y) const;
    /// Curl of the velocity by central differences (one-sided at the borders), per step.
    double vorticity(int x, int y) const;

private:
    static constexpr std::size_t kLinks = 9;
    using Populations = std::array<std::vector<double>, kLinks>;

    std::size_t node(int x, int y) const;
    void find_wall_links();
    void collide_row(int y);
    void stream();
    void open_ends();

    Channel channel_;
    double even_rate_, odd_rate_;  // relaxation of the symmetric and antisymmetric parts, per step
    std::vector<unsigned char> solid_;
    std::vector<std::pair<std::size_t, std::size_t>> wall_links_;  // node, link that would come out of the cylinder
    Populations now_, next_;
};

}  // namespace zam::examples
