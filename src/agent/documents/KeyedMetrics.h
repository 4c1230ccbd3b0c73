// Families with series for each member of a collection. Like `JsonObject` they keep only keys between two
// pieces, those that there were at the beginning.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "agent/documents/PiecedMetrics.h"
#include "runtime/Pelm/String.h"

namespace Agent {

// `add` adds the series of a member, at once; none for one that is gone.
template <class Context>
struct KeyedFamily {
   MetricDefinition const * definition;
   void (*add)(MetricSeries & series, Context const & context, Pelm::String const & key);
};

template <class Context, class Collection>
MetricSources keyedMetrics(std::span<KeyedFamily<Context> const> families, Context const & context,
                           Collection const & collection) {
   auto const keys = std::make_shared<std::vector<Pelm::String>>();
   keys->reserve(collection.size());
   for (auto const member : collection)
      keys->push_back(member.key);
   MetricSources sources;
   for (auto const & family : families)
      sources.push_back({family.definition, [context, keys, add = family.add,
                                             at = std::size_t{0}](MetricSeries & series) mutable {
                            if (at < keys->size())
                               add(series, context, (*keys)[at++]);
                            return at < keys->size();
                         }});
   return sources;
}

}  // namespace Agent
