#pragma once

// Where the password for a broker comes from, never the link text:
//  1. the environment: QMDVARS_MQTT_PASSWORD (with QMDVARS_MQTT_USER as the
//     user when the link names none), for every broker;
//  2. the credentials file: the one QMDVARS_MQTT_CREDENTIALS names, otherwise
//     ~/.config/Morvel/mqtt-credentials, otherwise /etc/lumarex/mqtt-credentials.
//     One broker a line: "HOST[:PORT] USER PASSWORD" (the password is the rest
//     of the line); "#" starts a comment. The first line whose host (and port,
//     when it has one) match, and whose user matches the link's when the link
//     names one, gives the user and the password.
// TLS (mqtts://) checks the broker's certificate against the system's
// authorities, or against the file QMDVARS_MQTT_CAFILE names.

#include "topiclink.h"

#include <QString>

namespace mqtt {

struct Credentials {
    QString user;     // empty: connect without a user name
    QString password; // empty: none
    QString caFile;   // TLS: the authorities' file; empty: the system's
    QString source;   // where they came from, for messages
};

Credentials credentialsFor(const Broker& broker);

// The credentials file in use (the first that exists of those above), or "".
QString credentialsFile();

} // namespace mqtt
