#include "runtime/Vorn/Dir.h"

#include <utility>

namespace Vorn {

Dir::Dir() = default;
Dir::~Dir() = default;

void Dir::entityIs(Pelm::String const & name, Pelm::Ptr<Pelm::Node> child) {
   entity.memberIs(name, std::move(child));
}
void Dir::entityDel(Pelm::String const & name) {
   entity.memberDel(name);
}
void Dir::entityDelAll() {
   entity.memberDelAll();
}

}  // namespace Vorn
