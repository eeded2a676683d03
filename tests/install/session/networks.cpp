// networks PLUGINS: a program with a network of an installed module and one of a plug-in.
#include <zam/session.h>

#include <cstdio>
#include <vector>

int main(int /*count*/, char** arguments) {
    zam::Session session(arguments[1]);
    for (const auto& line : session.left_out()) std::fprintf(stderr, "%s\n", line.c_str());
    const std::vector<float> values{1, 2, 3, 6};
    zam::Network network = session.network();
    network.add("average", "mean");
    network.set("average.in", zam::uniform_field({2, 2}, zam::Array::lend<float>(values)));
    network.add("cone", "cone");
    network.set("cone.div", 24);
    for (const char* size : {"cone.offset", "cone.length"}) network.set(size, 1.5);
    network.connect("cone.radius", "average.mean");
    const zam::Outcome outcome = network.run();
    if (!outcome) return std::fprintf(stderr, "%s\n", outcome.errors().c_str()), 1;
    const auto nodes = network.field("cone.out").coord.as<float>().size() / 3;
    std::printf("mean %g, %zu nodes\n", network.number("average.mean"), nodes);
}
