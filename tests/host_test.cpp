// The reference host as the library sees it: parameter blocks and their connections, array storage, the init
// protocol and the allocator's bookkeeping, through the tests' own small shader library.
#include <cstring>
#include <tuple>

#include "host_fixture.h"
#include "fixtures/testshader_results.h"

namespace tavo::test {
namespace {

class HostCore : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    renderer().load_library(TAVO_TEST_SHADERS, TAVO_TEST_DECLARATIONS);
  }
};

TEST_F(HostCore, DefaultsLiteralsAndConnectionsFillTheParameterBlockThroughTheGhost) {
  const auto given = eval<SourceResult>("test_source", {value("c", {"1", "2", "3", "4"}), value("i", {"-3"})});
  EXPECT_TRUE(given.s == 0.25f && given.c.a == 4.0f && given.i == -3);  // s: the declared default
  const miTag source = renderer().create_instance("test_source", {value("s", {"0.5"}), value("i", {"11"})});
  EXPECT_EQ(renderer().instance(source)->function.ghost_offs, 0);  // nothing connected: no ghost block
  // a whole result, and single fields of a struct result
  const miTag whole = renderer().create_instance("test_arrays", {link("tail", source, "s"), link("bias", source, "i")});
  const miTag sink = renderer().create_instance("test_source", {link("c", source, "c"), link("s", whole, "tail")});
  EXPECT_NE(renderer().instance(sink)->function.ghost_offs, 0);
  // s: source.s -> whole.tail -> sink.s; c: the source's default colour, declared with three components (opaque);
  // i: not connected, its own default
  const auto out = result_of<SourceResult>(sink);
  EXPECT_TRUE(out.s == 0.5f && out.c.b == 0.3f && out.c.a == 1.0f && out.i == 7);
}

TEST_F(HostCore, ArrayElementsLieAtIndexPlusKPastTheBlock) {
  const auto r = eval<ArrayResult>("test_arrays", {value("values[0]", {"1"}), value("values[2]", {"4"}),
                                                   value("values[1]", {"2"}), value("items[0].id", {"3"}),
                                                   value("items[1].tint", {"1", "1", "1", "1"}), value("bias", {"100"})});
  // item 1 keeps its declared default id; the field after the arrays is not overwritten by their storage
  EXPECT_TRUE(r.sum == 7.0f && r.count == 103 && r.ids == 31 && r.tint.r == 1.5f && r.tail == 9.0f);

  const miTag tag = renderer().create_instance("test_arrays", {value("items[3].id", {"1"})});
  const host::Instance &inst = *renderer().instance(tag);
  const host::Field *items = inst.shader->decl.parameter("items");
  miInteger header[2];
  std::memcpy(header, reinterpret_cast<const std::byte *>(inst.storage.data()) + items->offset, sizeof header);
  EXPECT_EQ(header[1], 4);  // counts up to the last element given
  const std::size_t element = items->type.element->size();
  const std::size_t start = items->offset + host::kArrayStorageOffset + header[0] * element;
  EXPECT_GE(start, inst.shader->decl.parameters.size());  // appended after the block
  EXPECT_LE(start + 4 * element, inst.block_size);
  const auto empty = eval<ArrayResult>("test_arrays", {});
  EXPECT_TRUE(empty.sum == 0.0f && empty.ids == 0);
}

TEST_F(HostCore, BadAssignmentsAreRejectedWithTheirName) {
  const miTag source = renderer().create_instance("test_source", {});
  const std::tuple<const char *, Assignment, const char *> cases[] = {
      {"test_source", value("i", {"1.5"}), "parameter 'i' of test_source: expected a decimal integer, found '1.5'"},
      {"test_source", value("s[0]", {"1"}), "parameter 's[0]' of test_source: 's' is not an array"},
      {"test_source", link("s", source, "nope"), "parameter 's' of test_source: test_source has no result field 'nope'"},
      {"test_source", link("s", 999), "parameter 's' of test_source: no shader instance with tag 999"},
      {"test_arrays", value("values", {"1"}),
       "parameter 'values' of test_arrays: an array takes its elements as values[k]"},
      {"test_arrays", value("items[0]", {"1"}),
       "parameter 'items[0]' of test_arrays: a struct takes its values field by field"},
  };
  for (const auto &[shader, assignment, error] : cases)
    EXPECT_EQ(error_of([&] { renderer().create_instance(shader, {assignment}); }), error) << assignment.path;
}

TEST_F(HostCore, AllocatorAndMessagesReportWhatIsHeldAndStrayReleasesInOrder) {
  void *block = renderer().allocate("file", 10, 24);
  EXPECT_EQ(renderer().held_bytes(), 24u);
  unsigned char bytes[24];
  std::memcpy(bytes, block, sizeof bytes);
  EXPECT_NE(bytes[0], 0);  // never handed out cleared
  mi_warning("first %d", 1);
  mi_error("second %s", "two");
  int stack_value = 0;
  for (const auto &[line, released] : {std::pair{11, static_cast<void *>(&stack_value)}, {12, block}, {13, nullptr}})
    renderer().release("file", line, released);
  EXPECT_EQ(renderer().held_bytes(), 0u);
  std::string log;
  for (const host::Message &m : renderer().messages()) log += m.level + ": " + m.text + "\n";
  EXPECT_EQ(log, "warning: first 1\nerror: second two\n"
                 "error: mi_mem_int_release: file:11 releases a block that is not allocated\n");
}

}  // namespace
}  // namespace tavo::test
