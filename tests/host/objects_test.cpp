// Handles, paths, references, ownership, change stamps.
#include <tuple>

#include "tests/host/host_test.h"

namespace zam::host {
namespace {

struct Objects : HostTest {
    OMobj_id create_field(const char* made_of = "Mesh_Unif Node_Data") const {
        OMobj_id field{};
        FLDcreate(module, &field, 0, "field", made_of);
        return field;
    }
};

TEST_F(Objects, PathsLeadWhereTheySay) {
    const OMobj_id group = add("group", Kind::group), inner = create(group, "inner", Kind::integer);
    const OMobj_id list = create(group, "list", Kind::objects, Kind::group);
    OMset_array_size(list, 2);
    const OMobj_id member = create(find(list, "[1]"), "x", Kind::real);
    OMset_obj_ref(add("alias", Kind::unset), group);
    const auto found = [this](const char* path) { return OMfind_str_subobj(module, path, OM_OBJ_RW).word[0]; };
    for (const auto& [path, object] :
         {std::pair{"group", group}, {"group.inner", inner}, {"group.list[1].x", member}, {"alias.list[1].x", member}})
        EXPECT_EQ(found(path), object.word[0]) << path;
    for (const char* nothing :
         {"group.list[2]", "group.list[-1]", "group.list[1", "group.list[99999999999999999999999]", "group.list[1]x",
          "group.inner[0]", "group..inner", "group.", ".group", "", "nobody"})
        EXPECT_EQ(found(nothing), 0U) << nothing;
    const OMobj_id copy = create(root(), "copy[10]", Kind::group), within = create(copy, "x", Kind::real);
    EXPECT_EQ(find(root(), "copy[10].x").word[0], within.word[0]);
    for (const char* bad : {"copy[]", "copy[1", "copy[1]x", "copy[a]", "[1]", "copy[1][2]"})
        EXPECT_EQ(OMvalid_obj(create(root(), bad, Kind::group)), 0) << bad;
    for (const char* bad : {"", "a.b", "a[0]"}) EXPECT_EQ(OMvalid_obj(create(module, bad, Kind::group)), 0) << bad;
}

TEST_F(Objects, HandlesOfWhatHasEndedStayInvalid) {
    const OMobj_id group = add("group", Kind::group), inner = create(group, "inner", Kind::integer);
    OMset_obj_ref(add("alias", Kind::unset), inner);
    destroy(group);
    for (int k = 0; k < 10; ++k) add("fresh", Kind::group);  // these take the places that became free
    EXPECT_EQ(OMset_int_val(inner, 1), 0);
    EXPECT_EQ(kind(find(module, "alias")), Kind::none);
    for (const OMobj_id bad : {group, inner, OMobj_id{{0, 0}}, OMobj_id{{1, 99}}, OMobj_id{{~std::uintptr_t{0}, 1}}})
        EXPECT_EQ(OMvalid_obj(bad), 0);
}

TEST_F(Objects, ValuesFollowChainsOfReferences) {
    const OMobj_id value = add("value", Kind::integer), near = add("near", Kind::unset), far = add("far", Kind::real);
    EXPECT_EQ(OMset_obj_ref(near, value), 1);
    EXPECT_EQ(OMset_obj_ref(far, near), 1);
    EXPECT_EQ(OMset_int_val(far, 5), 1);
    EXPECT_EQ(got<int>(OMget_name_int_val, module, token("value")), 5);
    OMobj_id step{};
    EXPECT_EQ(OMget_obj_ref(far, &step, 0), 1);
    EXPECT_EQ(name(step), "near");
    EXPECT_EQ(name(*got<OMobj_id>(OMget_obj_val, far)), "value");
    EXPECT_EQ(OMget_obj_ref(value, &step, 0), 0);
    // no circles, however long
    EXPECT_EQ(OMset_obj_ref(value, far), 0);
    EXPECT_EQ(OMset_obj_ref(value, value), 0);
    // without its reference an object is what it was before
    EXPECT_EQ(OMset_obj_ref(far, OMnull_obj()), 1);
    EXPECT_EQ(kind(far), Kind::real);
}

TEST_F(Objects, OwnedObjectsEndWithTheirLastReference) {
    for (const auto& [what, mode, held_by_another, survives] : {std::tuple{"owned", 1, false, false},
                                                                {"owned and referred to", 1, true, true},
                                                                {"pointed at", 0, false, true}}) {
        for (const bool by_destroying : {false, true}) {
            const OMobj_id field = add("field", Kind::field), holder = add("holder", Kind::unset);
            const OMobj_id other = add("other", Kind::unset);
            OMset_obj_ref_mode(holder, mode);
            OMset_obj_ref(holder, field);
            OMset_obj_ref(holder, field);  // the same again is no change of owner
            EXPECT_EQ(OMvalid_obj(field), 1) << what;
            if (held_by_another) OMset_obj_ref(other, field);
            by_destroying ? destroy(holder) : static_cast<void>(OMset_obj_ref(holder, other));
            EXPECT_EQ(OMvalid_obj(field) == 1, survives) << what;
        }
    }
}

TEST_F(Objects, AnOwnerInsideWhatItOwnsIsHarmless) {
    const OMobj_id group = add("group", Kind::group), inner = owner(group, "inner", group);
    EXPECT_GT(stamp(group), 0);  // returns, although the references form a circle
    OMset_obj_ref(inner, OMnull_obj());
    EXPECT_EQ(OMvalid_obj(inner), 1);
    OMset_obj_ref(inner, module);
    destroy(module);
    EXPECT_EQ(OMvalid_obj(inner), 0);
}

TEST_F(Objects, CreatedFieldsGiveWayAndStayForWhatRefersToThem) {
    const OMobj_id first = create_field(), out = owner(module, "out", first);
    const OMobj_id second = create_field("Mesh_Struct Node_Data");
    EXPECT_EQ(got<OMobj_id>(OMget_obj_val, out)->word[0], first.word[0]);
    EXPECT_EQ(find(module, "field").word[0], second.word[0]);
    EXPECT_EQ(children(module).size(), 2U);
    OMset_obj_ref(out, second);
    EXPECT_EQ(OMvalid_obj(first), 0);
    const OMobj_id third = create_field();
    destroy(out);
    EXPECT_EQ(OMvalid_obj(second), 0);
    // what the replaced field owned may not take the new one with it
    const OMobj_id owned = create(root(), "owned", Kind::group);
    owner(third, "owner", owned);
    owner(owned, "back", module);
    EXPECT_EQ(path(create_field()), "module.field");
    EXPECT_EQ(OMvalid_obj(owned), 0);
    EXPECT_EQ(OMvalid_obj(create_field("Mesh_Round Node_Data")), 0);
    module = add("number", Kind::integer);
    EXPECT_EQ(OMvalid_obj(create_field()), 0);
}

TEST_F(Objects, EverySettingIsAChange) {
    const OMobj_id value = add("value", Kind::integer), other = add("other", Kind::integer);
    const OMobj_id alias = add("alias", Kind::unset);
    OMset_obj_ref(alias, value);
    EXPECT_NE(OMchanged(value, 0), 0);
    int seq = now();
    EXPECT_EQ(OMchanged(value, stamp(value)), 0);
    OMset_int_val(value, 0);  // an equal value counts too
    for (const OMobj_id changed : {value, alias, module}) EXPECT_NE(OMchanged(changed, seq), 0) << name(changed);
    EXPECT_EQ(OMchanged(other, seq), 0);
    seq = now();
    touch(other);
    EXPECT_NE(OMchanged(other, seq), 0);
    EXPECT_EQ(OMchanged(OMnull_obj(), 0), 0);
}

TEST_F(Objects, WritesOfOneBracketShareAStamp) {
    const OMobj_id a = add("a", Kind::integer), b = add("b", Kind::integer);
    const int before = now();
    OMbegin_op();
    OMset_int_val(a, 1);
    OMbegin_op();
    OMset_int_val(b, 1);
    EXPECT_EQ(OMend_op(), 1);
    OMset_int_val(a, 2);
    EXPECT_EQ(OMend_op(), 1);
    EXPECT_EQ(stamp(a), stamp(b));
    EXPECT_EQ(now(), before + 1);
    OMset_int_val(b, 2);
    EXPECT_GT(stamp(b), stamp(a));
    EXPECT_EQ(OMend_op(), 0);
}

}  // namespace
}  // namespace zam::host
