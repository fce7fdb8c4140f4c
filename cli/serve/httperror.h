#pragma once

// A request that cannot be answered as asked: handlers throw it, and the
// server answers it in one place as JSON {"error": message} with the status.

#include <QByteArray>
#include <QList>
#include <QString>

#include <utility>

namespace serve {

struct HttpError {
    int status = 400;
    QString message;
    QList<std::pair<QByteArray, QByteArray>> headers = {};
};

} // namespace serve
