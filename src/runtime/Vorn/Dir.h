// A directory of the host's entity tree.
#pragma once

#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Collection.h"

namespace Vorn {

class Dir : public Pelm::Node {
 public:
   Collection<Pelm::String, Pelm::Ptr<Pelm::Node>, Dir> entity{*this, "entity"};
   void entityIs(Pelm::String const & name, Pelm::Ptr<Pelm::Node> child) {
      entity.memberIs(name, std::move(child));
   }
   void entityDel(Pelm::String const & name) { entity.memberDel(name); }

   // Null when there is no child of that name.
   Pelm::Ptr<Pelm::Node> entityPtr(Pelm::String const & name) const { return entity(name); }
};

}  // namespace Vorn
