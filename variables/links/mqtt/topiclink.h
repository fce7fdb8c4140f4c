#pragma once

// Link sources on the message bus: "mqtt://[user@]host[:port]/topic/path",
// "mqtts://..." for TLS, optionally "!" and a JSON Pointer into a JSON payload
// ("mqtt://bus.local/site/temp!/value"). A password never belongs in the link
// text: a source that carries one is refused (credentials.h says where it
// comes from instead).

#include <QString>

#include <optional>

namespace mqtt {

struct Broker {
    QString host;
    quint16 port = 1883;
    QString user; // empty: from the credentials, or none
    bool tls = false;

    // "mqtt://user@host:port", the same for every link to this broker as this user.
    QString key() const;
    // "host:port" for messages.
    QString address() const;
    bool operator==(const Broker&) const = default;
};

struct TopicLink {
    Broker broker;
    QString topic;
    QString pointer;         // empty with hasPointer: the whole payload as JSON
    bool hasPointer = false; // false: the payload is the value, as text
};

// True when the source starts with mqtt:// or mqtts:// (any case), well formed or not.
bool isTopicSource(const QString& source);

// The source understood, or the reason it is not a topic link.
struct ParsedTopicLink {
    std::optional<TopicLink> link;
    QString error;
};
ParsedTopicLink parseTopicLink(const QString& source);

// "mqtt[s]://[user@]host[:port]/PREFIX" as given to --publish: the broker and
// the topic prefix (without a trailing "/"); the prefix may not hold wildcards.
struct ParsedBrokerUrl {
    std::optional<Broker> broker;
    QString prefix;
    QString error;
};
ParsedBrokerUrl parseBrokerUrl(const QString& url);

} // namespace mqtt
