#pragma once

// Links to values on the message bus (mqtt/topiclink.h gives the text form):
// the latest payload of the topic as text, or with "!" and a JSON Pointer the
// value it names in a JSON payload. The reading says when the value is stale
// (the broker cannot be reached now: the last value is kept) and why there is
// none (refused by the broker's access control, no message yet, a pointer that
// names nothing).

#include "feedlinks.h"

namespace links {

// Through the shared topic cache; a first read waits at most the feed wait
// limit (FeedCache::shared().waitMs()) for the broker.
FeedReading readTopicLink(const QString& source);

} // namespace links
