// A directory of the host's entity tree: named children of any kind. The host makes it, and passes it to a
// monitor that publishes entities in it, such as the status of temperature sensors.
#pragma once

#include "runtime/Export.h"
#include "runtime/Pelm/Node.h"
#include "runtime/Pelm/Ptr.h"
#include "runtime/Pelm/String.h"
#include "runtime/Vorn/Collection.h"

namespace Vorn {

class VORN_API Dir : public Pelm::Node {
 public:
   Dir();
   ~Dir() override;

   // By the child's name in this directory, which need not be the child's own. Whoever reads a child knows
   // its class, or asks dynamic_cast.
   Collection<Pelm::String, Pelm::Ptr<Pelm::Node>, Dir> entity{*this, "entity"};
   // Adds the child, or replaces the one of that name; the same child again notifies nobody. The directory
   // keeps it until it is replaced or deleted.
   void entityIs(Pelm::String const & name, Pelm::Ptr<Pelm::Node> child);
   // Does nothing without such a child. Other users of the child keep it.
   void entityDel(Pelm::String const & name);
   void entityDelAll();

   // Null when there is no child of that name.
   Pelm::Ptr<Pelm::Node> entityPtr(Pelm::String const & name) const { return entity(name); }
};

}  // namespace Vorn
