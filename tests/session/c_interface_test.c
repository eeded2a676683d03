/* zam/zam.h from C: a volume that is lent becomes a picture, errors are texts, and nothing is left over. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zam/zam.h"

enum { SIDE = 16 };

static unsigned char voxels[SIDE * SIDE * SIDE];
static int released, reports, calls;

static void expect(int holds, const char* what, int line) {
    if (holds) return;
    fprintf(stderr, "line %d: %s does not hold; %s\n", line, what, zam_error());
    exit(1);
}
#define EXPECT(what) expect((what) ? 1 : 0, #what, __LINE__)

static void release(void* user) { ++*(int*)user; }

static void on_report(void* user, int severity, const char* module, const char* text) {
    (void)user;
    reports += severity == 2 && strcmp(module, "render") == 0 && *text != 0;
}

static int on_progress(void* user, const char* module, int percent, const char* text) {
    (void)text;
    ++calls;
    return !(*(int*)user && strcmp(module, "render") == 0 && percent > 0);
}

int main(void) {
    const int64_t dims[] = {SIDE, SIDE, SIDE};
    int64_t width = 0, height = 0, count = 0, lengths[3] = {0, 0, 0};
    int type = -1, veclen = 0, stop = 1, i;
    double number = 0;
    for (i = 0; i < SIDE * SIDE * SIDE; ++i) voxels[i] = (unsigned char)(i % 251);

    EXPECT(zam_new(NULL) == NULL && strstr(zam_error(), "null"));
    zam_session* session = zam_open(NULL);
    EXPECT(session);
    EXPECT(zam_open(NULL) == NULL && strstr(zam_error(), "one at a time"));
    EXPECT(strstr(zam_modules(session), "ZAMtracer_render_update"));
    EXPECT(strstr(zam_modules(session), "\"range\":[1,null],") && strstr(zam_modules(session), "\"choices\":[[0,\"nearest\"],[1,"));

    zam_network* network = zam_new(session);
    EXPECT(zam_add(network, "render", "tracer") && zam_listen(network, on_report, on_progress, &stop));
    EXPECT(!zam_add(network, "other", "trazer") && strstr(zam_error(), "tracer"));
    EXPECT(!zam_set(network, "render.widht", "3") && strstr(zam_error(), "\"width\""));
    EXPECT(zam_set(network, "render.width", "32") && zam_set(network, "render.height", "24"));
    EXPECT(!zam_run(network) && reports == 1 && *zam_error());  /* it has no volume */
    EXPECT(!zam_lend_field(network, "render.inn", dims, 3, 1, ZAM_BYTE, voxels, release, &released) && released == 1);
    EXPECT(zam_lend_field(network, "render.in", dims, 3, 1, ZAM_BYTE, voxels, release, &released));
    EXPECT(!zam_run(network) && strstr(zam_error(), "cancelled"));
    stop = 0;
    EXPECT(zam_run(network));

    zam_object* volume = zam_get(network, "render.in");
    zam_object* image = zam_get(network, "render.out");
    zam_object* side = zam_get(network, "render.width");
    EXPECT(zam_values(volume, 0, NULL, NULL, NULL) == voxels);
    EXPECT(zam_components(image) == 1 && zam_dims(image, lengths, 3) == 2 && lengths[0] == 32 && lengths[1] == 24);
    EXPECT(zam_values(image, 0, &type, &count, &veclen) && type == ZAM_BYTE && count == 32 * 24 * 4 && veclen == 4);
    EXPECT(zam_number(side, &number) && number == 32 && !zam_text(side) && zam_dims(side, NULL, 0) == -1);
    EXPECT(!zam_values(image, 1, NULL, NULL, NULL) && strstr(zam_error(), "component 1"));
    unsigned char* pixels = zam_image(network, "render.out", &width, &height);
    EXPECT(pixels && width == 32 && height == 24);
    EXPECT(memcmp(pixels + 3 * 400, (const unsigned char*)zam_values(image, 0, NULL, NULL, NULL) + 4 * 400 + 1, 3) == 0);
    char* json = zam_json(network, "render.height");
    EXPECT(json && strtol(json, NULL, 10) == 24);
    char* outputs = zam_outputs(network);
    EXPECT(outputs && strcmp(outputs, "[]") == 0);
    EXPECT(!zam_prepare(network, 1, NULL) && strstr(zam_error(), "before"));
    EXPECT(zam_loop(network, 0.001) && !zam_loop(network, -1));
    zam_free(outputs);
    zam_free(pixels);
    zam_free(json);

    zam_close(session);
    EXPECT(!zam_run(network) && strstr(zam_error(), "ended"));
    EXPECT(zam_values(volume, 0, NULL, NULL, NULL) == voxels && zam_arrays_held() > 0 && released == 1);
    zam_let_go(volume);
    zam_let_go(image);
    zam_let_go(side);
    zam_end(network);
    EXPECT(released == 2 && calls > 2 && zam_arrays_held() == 0 && zam_arrays_outstanding() == 0);
    return 0;
}
