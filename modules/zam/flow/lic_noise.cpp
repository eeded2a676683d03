// The random generator of the noise image.
#include <cstdint>

#include "modules/zam/lic_texture.h"

namespace {

constexpr int kLast = 55;  // entry 0 is not used
constexpr int kLag = 24;
constexpr std::int64_t kModulus = 1000000000;

int difference(int a, int b) {
    const std::int64_t d = std::int64_t{a} - b;
    return static_cast<int>(d < 0 ? d + kModulus : d);
}

void refill(int* table) {
    for (int k = 1; k <= kLag; ++k) table[k] = difference(table[k], table[k + kLast - kLag]);
    for (int k = kLag + 1; k <= kLast; ++k) table[k] = difference(table[k], table[k - kLag]);
}

}  // namespace

void init_rnd2(int seed, int* index, int* table) {
    table[kLast] = seed;
    int previous = seed;
    int current = 1;
    for (int i = 1; i < kLast; ++i) {
        table[21 * i % kLast] = current;
        const int next = difference(previous, current);
        previous = current;
        current = next;
    }
    for (int round = 0; round < 3; ++round) refill(table);
    *index = kLast;
}

int irnd2(int* index, int* table) {
    if (*index >= 0 && *index < kLast) return table[++*index];
    refill(table);
    *index = 1;
    return table[1];
}

double rnd2(int* index, int* table) { return irnd2(index, table) * 1e-9; }
