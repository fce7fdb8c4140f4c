#include "linkcontainer.h"

namespace links {

namespace {
Factory& factory()
{
    static Factory f;
    return f;
}
} // namespace

std::unique_ptr<ILinkContainer> create()
{
    if (factory())
        if (auto container = factory()())
            return container;
    return std::make_unique<NoLinkContainer>();
}

void setFactory(Factory f) { factory() = std::move(f); }

} // namespace links
