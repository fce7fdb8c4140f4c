#include "topiclinks.h"

#include "jsonpointer.h"
#include "topiccache.h"

namespace links {

FeedReading readTopicLink(const QString& source)
{
    const mqtt::ParsedTopicLink parsed = mqtt::parseTopicLink(source);
    if (!parsed.link)
        return {QString(), QStringLiteral("not a topic link (%1): %2").arg(parsed.error, source), false};
    const mqtt::TopicReading topic = mqtt::TopicCache::shared().read(*parsed.link, FeedCache::shared().waitMs());
    FeedReading reading{QString(), topic.error, topic.stale};
    if (!topic.have)
        return reading;
    if (!parsed.link->hasPointer) {
        reading.value = QString::fromUtf8(topic.payload);
        return reading;
    }
    const JsonPointerResult result = resolveJsonPointer(topic.payload, parsed.link->pointer);
    if (result.ok) {
        reading.value = result.value;
    } else {
        reading = {QString(), QStringLiteral("the message on %1: %2").arg(parsed.link->topic, result.error), false};
    }
    return reading;
}

} // namespace links
