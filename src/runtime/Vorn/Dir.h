// A directory of the host's entity tree.
#pragma once

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Collection.h"

namespace Vorn {

class RUNTIME_API Dir : public Pelm::Node {
 public:
   Dir();
   ~Dir() override;

   Collection<Pelm::String, Pelm::Ptr<Pelm::Node>, Dir> entity{*this, "entity"};
   void entityIs(Pelm::String const & name, Pelm::Ptr<Pelm::Node> child);
   void entityDel(Pelm::String const & name);
   void entityDelAll();

   // Null when there is no child of that name.
   Pelm::Ptr<Pelm::Node> entityPtr(Pelm::String const & name) const { return entity(name); }
};

}  // namespace Vorn
