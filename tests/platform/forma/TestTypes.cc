#include "tests/platform/forma/TestTypes.h"

namespace FormaTest {

FORMA_DEFINE_VALUE(Key)
FORMA_DEFINE_VALUE(Sample)
FORMA_DEFINE_ENTITY(Item)
FORMA_DEFINE_ENTITY(Box)
FORMA_DEFINE_ENTITY(Node)
FORMA_DEFINE_ENTITY(Port)
FORMA_DEFINE_ENTITY(Sub)
FORMA_DEFINE_ENTITY(Rack)
FORMA_DEFINE_ENTITY(Folder)

void registerTypes(Forma::TypeRegistry& registry) {
  registry.add<Mode, Key, Sample>();
  registry.addEntity<Forma::Dir, Item, Box, Node, Port, Sub, Rack, Folder>();
}

}  // namespace FormaTest
