// A program that embeds the host: it loads the modules itself, makes an instance of one, calls it and reads what it
// wrote.
#include <dlfcn.h>
#include <zam/contract/contract.h>
#include <zam/host.h>

#include <cstdio>

using Entry = int (*)(OMobj_id instance, unsigned event_mask, int seq);

int main() {
    void* const modules = dlopen(MODULES, RTLD_NOW);
    const auto make_cone = modules ? reinterpret_cast<Entry>(dlsym(modules, "DVConeUpdate")) : nullptr;
    if (!make_cone) return std::fprintf(stderr, "%s\n", dlerror()), 1;

    namespace host = zam::host;
    const OMobj_id cone = host::create(host::root(), "cone", host::Kind::group);
    OMset_int_val(host::create(cone, "div", host::Kind::integer), 24);
    for (const char* size : {"offset", "length", "radius"}) {
        OMset_real_val(host::create(cone, size, host::Kind::real), 1.5);
    }
    const OMobj_id out = host::create(cone, "out", host::Kind::field);
    FLDadd_cell_set(out, "Tri");
    make_cone(cone, 0, 0);

    xp_long nodes = 0;
    FLDget_nnodes(out, &nodes);
    std::printf("%lld nodes, %lld arrays left over\n", static_cast<long long>(nodes),
                static_cast<long long>(host::account().outstanding_arrays));
}
