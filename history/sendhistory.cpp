#include "sendhistory.h"

#include "installlayout.h"
#include "registryroutines.h"

#include <QAtomicInt>
#include <QDir>
#include <QFileInfo>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QStandardPaths>
#include <QStringList>
#include <QThread>
#include <QVariant>

#include <iterator>

#include <pwd.h>
#include <unistd.h>

namespace history {

namespace {
QAtomicInt g_connections;

const char* const kSchema[] = {
    "CREATE TABLE IF NOT EXISTS sends ("
    " id INTEGER PRIMARY KEY, at TEXT NOT NULL, kind TEXT NOT NULL, display TEXT NOT NULL,"
    " units TEXT, mode TEXT, result TEXT, error TEXT)",
    "CREATE TABLE IF NOT EXISTS send_variables ("
    " send_id INTEGER NOT NULL REFERENCES sends(id) ON DELETE CASCADE, variable INTEGER NOT NULL, text TEXT)",
    "CREATE INDEX IF NOT EXISTS sends_at ON sends(at)",
    "CREATE INDEX IF NOT EXISTS sends_display ON sends(display, at)",
    "CREATE INDEX IF NOT EXISTS send_variables_send ON send_variables(send_id)",
    "CREATE INDEX IF NOT EXISTS send_variables_variable ON send_variables(variable)",
};

// What each schema version adds to the one before; a file's PRAGMA user_version
// says how many of these it has.
const char* const kMigrations[][3] = {
    {"ALTER TABLE sends ADD COLUMN display_name TEXT", "ALTER TABLE sends ADD COLUMN account TEXT",
     "CREATE TABLE IF NOT EXISTS send_units ("
     " send_id INTEGER NOT NULL REFERENCES sends(id) ON DELETE CASCADE, address INTEGER NOT NULL,"
     " sent INTEGER NOT NULL, error TEXT)"},
};
static_assert(std::size(kMigrations) == SendHistory::kSchemaVersion);

// Sorts as text in time order, with the offset kept for the reader.
QString stamp(const QDateTime& when) { return when.toUTC().toString(Qt::ISODateWithMs); }
} // namespace

QString SendHistory::defaultPath()
{
    const QString store = RegistryRoutines::location(RegistryRoutines::LocalMachine);
    const QString folder = store.startsWith(u"HKEY_")
                               ? QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                               : QFileInfo(store).absolutePath();
    return folder + QStringLiteral("/send-history.sqlite");
}

SendHistory::SendHistory() : m_connection(QStringLiteral("send-history-%1").arg(g_connections.fetchAndAddRelaxed(1))) {}

SendHistory::~SendHistory()
{
    if (QSqlDatabase::contains(m_connection)) {
        QSqlDatabase::database(m_connection, false).close();
        QSqlDatabase::removeDatabase(m_connection);
    }
}

bool SendHistory::isOpen() const
{
    return QSqlDatabase::contains(m_connection) && QSqlDatabase::database(m_connection, false).isOpen();
}

bool SendHistory::exec(const QString& sql)
{
    QSqlQuery query(QSqlDatabase::database(m_connection, false));
    if (query.exec(sql))
        return true;
    m_error = query.lastError().text();
    return false;
}

bool SendHistory::openExisting(const QString& path)
{
    if (!QFileInfo::exists(path)) {
        m_error = QStringLiteral("nothing has been recorded yet (there is no %1)").arg(path);
        return false;
    }
    return open(path);
}

bool SendHistory::open(const QString& path)
{
    if (!QSqlDatabase::isDriverAvailable(QStringLiteral("QSQLITE"))) {
        m_error = QStringLiteral("the SQLite driver of Qt SQL is not installed");
        return false;
    }
    QDir().mkpath(QFileInfo(path).absolutePath());
    // In the operators' shared folder the file and its journal must stay
    // writable by every operator, whoever created them.
    install::shareNewFilesIn(QFileInfo(path).absolutePath());
    QSqlDatabase db = QSqlDatabase::contains(m_connection)
                          ? QSqlDatabase::database(m_connection, false)
                          : QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), m_connection);
    db.setDatabaseName(path);
    // Other programs may be writing: wait for them rather than fail.
    db.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=5000"));
    if (!db.open()) {
        m_error = QStringLiteral("cannot open %1: %2").arg(path, db.lastError().text());
        return false;
    }
    // With the write-ahead log, NORMAL syncs at checkpoints only: a crash may
    // lose the last rows but never damages the file, and a send is not held
    // up by a disk flush per row.
    // Two programs making a new file at once can find it locked while the other
    // switches it to the log or writes the tables (the busy wait does not cover
    // that switch): the set-up is tried again for a while.
    bool ok = false;
    for (int attempt = 0; attempt < 100 && !ok; ++attempt) {
        if (attempt > 0)
            QThread::msleep(20);
        ok = exec(QStringLiteral("PRAGMA journal_mode=WAL")) && exec(QStringLiteral("PRAGMA synchronous=NORMAL"))
             && exec(QStringLiteral("PRAGMA foreign_keys=ON")) && setUp();
    }
    if (!ok)
        db.close();
    return ok;
}

// The tables, and the migrations the file has not had yet, in one transaction
// (another program may be opening the same old file).
bool SendHistory::setUp()
{
    if (!exec(QStringLiteral("BEGIN IMMEDIATE")))
        return false;
    bool ok = true;
    for (const char* sql : kSchema)
        ok = ok && exec(QString::fromLatin1(sql));
    QSqlQuery version(QSqlDatabase::database(m_connection, false));
    ok = ok && version.exec(QStringLiteral("PRAGMA user_version")) && version.next();
    const int from = ok ? version.value(0).toInt() : 0;
    version.finish();
    for (int v = from; ok && v < kSchemaVersion; ++v)
        for (const char* sql : kMigrations[v])
            ok = ok && exec(QString::fromLatin1(sql));
    if (ok && from < kSchemaVersion)
        ok = exec(QStringLiteral("PRAGMA user_version=%1").arg(kSchemaVersion));
    if (!ok) {
        const QString reason = m_error;
        exec(QStringLiteral("ROLLBACK"));
        m_error = reason;
        return false;
    }
    return exec(QStringLiteral("COMMIT"));
}

QString systemAccount()
{
    if (const passwd* user = ::getpwuid(::geteuid()); user && user->pw_name)
        return QString::fromLocal8Bit(user->pw_name);
    return qEnvironmentVariable("USER");
}

bool SendHistory::record(const Entry& entry)
{
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.isOpen()) {
        m_error = QStringLiteral("the history is not open");
        return false;
    }
    // BEGIN IMMEDIATE takes the write lock at once, so a busy writer is waited
    // for here and not half-way through.
    if (!exec(QStringLiteral("BEGIN IMMEDIATE")))
        return false;
    QSqlQuery send(db);
    send.prepare(
        QStringLiteral("INSERT INTO sends (at, kind, display, display_name, account, units, mode, result, error)"
                       " VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)"));
    const QString account = entry.account.isEmpty() ? systemAccount() : entry.account;
    // A change of the variables names no display; the column takes no NULL.
    const QString display = entry.display.isNull() ? QStringLiteral("") : entry.display;
    for (const QString& v : {stamp(entry.when), entry.kind, display, entry.displayName, account, entry.units,
                             entry.mode, entry.result, entry.error})
        send.addBindValue(v);
    bool ok = send.exec();
    const qint64 id = send.lastInsertId().toLongLong();
    QSqlQuery unit(db);
    unit.prepare(QStringLiteral("INSERT INTO send_units (send_id, address, sent, error) VALUES (?, ?, ?, ?)"));
    for (const UnitEntry& u : entry.unitResults) {
        if (!ok)
            break;
        unit.addBindValue(id);
        unit.addBindValue(u.address);
        unit.addBindValue(u.sent ? 1 : 0);
        unit.addBindValue(u.error);
        ok = unit.exec();
    }
    QHash<int, QString> texts;
    for (const auto& [variable, text] : entry.sentTexts)
        texts.insert(variable, text);
    QSqlQuery variable(db);
    variable.prepare(QStringLiteral("INSERT INTO send_variables (send_id, variable, text) VALUES (?, ?, ?)"));
    for (int n : entry.variables) {
        if (!ok)
            break;
        variable.addBindValue(id);
        variable.addBindValue(n);
        variable.addBindValue(texts.contains(n) ? QVariant(texts.value(n)) : QVariant());
        ok = variable.exec();
    }
    if (!ok) {
        m_error = (send.lastError().isValid()   ? send.lastError()
                   : unit.lastError().isValid() ? unit.lastError()
                                                : variable.lastError())
                      .text();
        exec(QStringLiteral("ROLLBACK"));
        return false;
    }
    return exec(QStringLiteral("COMMIT"));
}

QList<Entry> SendHistory::entries(const Filter& filter) const
{
    QList<Entry> out;
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.isOpen())
        return out;
    QStringList where;
    if (!filter.display.isEmpty())
        where << QStringLiteral("(display = :display OR display_name = :display)");
    if (filter.since.isValid())
        where << QStringLiteral("at >= :since");
    if (filter.variable)
        where << QStringLiteral("id IN (SELECT send_id FROM send_variables WHERE variable = :variable)");
    QSqlQuery query(db);
    query.prepare(QStringLiteral("SELECT id, at, kind, display, units, mode, result, error, display_name, account"
                                 " FROM sends")
                  + (where.isEmpty() ? QString() : QStringLiteral(" WHERE ") + where.join(QStringLiteral(" AND ")))
                  + QStringLiteral(" ORDER BY at DESC, id DESC"));
    if (!filter.display.isEmpty())
        query.bindValue(QStringLiteral(":display"), filter.display);
    if (filter.since.isValid())
        query.bindValue(QStringLiteral(":since"), stamp(filter.since));
    if (filter.variable)
        query.bindValue(QStringLiteral(":variable"), *filter.variable);
    if (!query.exec())
        return out;
    QSqlQuery variables(db);
    variables.prepare(QStringLiteral("SELECT variable, text FROM send_variables WHERE send_id = :id")
                      + (filter.variable ? QStringLiteral(" AND variable = :variable") : QString())
                      + QStringLiteral(" ORDER BY variable"));
    QSqlQuery units(db);
    units.prepare(QStringLiteral("SELECT address, sent, error FROM send_units WHERE send_id = ? ORDER BY rowid"));
    while (query.next()) {
        Entry e;
        e.when = QDateTime::fromString(query.value(1).toString(), Qt::ISODateWithMs).toLocalTime();
        e.kind = query.value(2).toString();
        e.display = query.value(3).toString();
        e.units = query.value(4).toString();
        e.mode = query.value(5).toString();
        e.result = query.value(6).toString();
        e.error = query.value(7).toString();
        e.displayName = query.value(8).toString();
        e.account = query.value(9).toString();
        variables.bindValue(QStringLiteral(":id"), query.value(0));
        if (filter.variable)
            variables.bindValue(QStringLiteral(":variable"), *filter.variable);
        if (variables.exec()) {
            while (variables.next()) {
                const int n = variables.value(0).toInt();
                e.variables << n;
                if (!variables.value(1).isNull())
                    e.sentTexts.append({n, variables.value(1).toString()});
            }
        }
        units.addBindValue(query.value(0));
        if (units.exec())
            while (units.next())
                e.unitResults.append({units.value(0).toInt(), units.value(1).toBool(), units.value(2).toString()});
        out << e;
    }
    return out;
}

int SendHistory::pruneOlderThan(int days, const QDateTime& now)
{
    QSqlDatabase db = QSqlDatabase::database(m_connection, false);
    if (!db.isOpen())
        return 0;
    QSqlQuery query(db);
    query.prepare(QStringLiteral("DELETE FROM sends WHERE at < ?"));
    query.addBindValue(stamp(now.addDays(-days)));
    return query.exec() ? query.numRowsAffected() : 0;
}

} // namespace history
