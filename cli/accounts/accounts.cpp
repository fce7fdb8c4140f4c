#include "accounts.h"

#include "registryroutines.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QSaveFile>
#include <QStandardPaths>

#include <sodium.h>
#include <sys/stat.h>
#include <unistd.h>

namespace accounts {

namespace {
const QStringList kRoles{QStringLiteral("viewer"), QStringLiteral("operator"), QStringLiteral("admin")};

bool sodiumReady()
{
    static const bool ready = sodium_init() >= 0;
    return ready;
}

// Spent on a name that has no account, so an unknown name takes as long as a wrong password.
const QString& decoyHash()
{
    static const QString hash = hashSecret(randomText(16));
    return hash;
}
} // namespace

std::optional<Role> roleNamed(const QString& name)
{
    const qsizetype i = kRoles.indexOf(name.trimmed().toLower());
    return i < 0 ? std::nullopt : std::optional<Role>(Role(i));
}

QString roleName(Role role) { return kRoles.value(int(role)); }

QString hashSecret(const QString& secret)
{
    if (!sodiumReady())
        return {};
    const QByteArray bytes = secret.toUtf8();
    char out[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str_alg(out, bytes.constData(), quint64(bytes.size()), crypto_pwhash_OPSLIMIT_INTERACTIVE,
                              crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13)
        != 0)
        return {};
    return QString::fromLatin1(out);
}

bool verifySecret(const QString& hash, const QString& secret)
{
    if (!sodiumReady() || hash.isEmpty())
        return false;
    const QByteArray h = hash.toLatin1();
    const QByteArray bytes = secret.toUtf8();
    return crypto_pwhash_str_verify(h.constData(), bytes.constData(), quint64(bytes.size())) == 0;
}

QString randomText(int bytes)
{
    sodiumReady();
    QByteArray raw(bytes, Qt::Uninitialized);
    randombytes_buf(raw.data(), size_t(raw.size()));
    return QString::fromLatin1(raw.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

bool validName(const QString& name)
{
    static const QRegularExpression pattern(QStringLiteral("^[A-Za-z0-9._-]{1,64}$"));
    return pattern.match(name).hasMatch();
}

QString Store::defaultPath()
{
    const QString store = RegistryRoutines::location(RegistryRoutines::LocalMachine);
    const QString folder = store.startsWith(u"HKEY_")
                               ? QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                               : QFileInfo(store).absolutePath();
    return folder + QStringLiteral("/accounts.json");
}

Store::Store(QString path) : m_path(std::move(path)) {}

bool Store::load()
{
    m_users.clear();
    m_tokens.clear();
    QFile file(m_path);
    if (!file.exists())
        return true;
    if (!file.open(QIODevice::ReadOnly)) {
        m_error = QStringLiteral("cannot read %1: %2").arg(m_path, file.errorString());
        return false;
    }
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &parseError);
    if (!doc.isObject()) {
        m_error = QStringLiteral("%1 is not an accounts file: %2").arg(m_path, parseError.errorString());
        return false;
    }
    for (const QJsonValue& v : doc.object().value(u"users").toArray()) {
        const QJsonObject o = v.toObject();
        const auto role = roleNamed(o.value(u"role").toString());
        if (validName(o.value(u"name").toString()) && role)
            m_users.append({o.value(u"name").toString(), *role, o.value(u"hash").toString()});
    }
    for (const QJsonValue& v : doc.object().value(u"tokens").toArray()) {
        const QJsonObject o = v.toObject();
        const auto role = roleNamed(o.value(u"role").toString());
        if (role)
            m_tokens.append({o.value(u"id").toString(), o.value(u"name").toString(), *role, o.value(u"hash").toString(),
                             QDateTime::fromString(o.value(u"created").toString(), Qt::ISODate)});
    }
    return true;
}

bool Store::save()
{
    QJsonArray users;
    for (const User& u : std::as_const(m_users))
        users.append(QJsonObject{{QStringLiteral("name"), u.name},
                                 {QStringLiteral("role"), roleName(u.role)},
                                 {QStringLiteral("hash"), u.hash}});
    QJsonArray tokens;
    for (const Token& t : std::as_const(m_tokens))
        tokens.append(QJsonObject{{QStringLiteral("id"), t.id},
                                  {QStringLiteral("name"), t.name},
                                  {QStringLiteral("role"), roleName(t.role)},
                                  {QStringLiteral("hash"), t.hash},
                                  {QStringLiteral("created"), t.created.toString(Qt::ISODate)}});
    QDir().mkpath(QFileInfo(m_path).absolutePath());
    QSaveFile file(m_path);
    const QByteArray bytes =
        QJsonDocument(QJsonObject{{QStringLiteral("users"), users}, {QStringLiteral("tokens"), tokens}}).toJson();
    if (!file.open(QIODevice::WriteOnly)) {
        m_error = QStringLiteral("cannot write %1: %2").arg(m_path, file.errorString());
        return false;
    }
    // Owner and group only, in the group of the folder (the operators' group
    // in the shared folder), before anything is in it.
    struct stat folder {};
    if (::stat(QFile::encodeName(QFileInfo(m_path).absolutePath()).constData(), &folder) == 0
        && ::fchown(file.handle(), uid_t(-1), folder.st_gid) != 0) {
        // Not a member of that group: the file keeps the writer's group.
    }
    file.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup);
    if (file.write(bytes) != bytes.size() || !file.commit()) {
        m_error = QStringLiteral("cannot write %1: %2").arg(m_path, file.errorString());
        return false;
    }
    return true;
}

const User* Store::user(const QString& name) const
{
    for (const User& u : m_users)
        if (u.name == name)
            return &u;
    return nullptr;
}

QString Store::addUser(const QString& name, Role role, const QString& password)
{
    if (!validName(name))
        return QStringLiteral("a name has 1 to 64 letters, digits, '.', '_' or '-', not \"%1\"").arg(name);
    if (user(name))
        return QStringLiteral("there is already an account \"%1\"").arg(name);
    if (password.size() < 8)
        return QStringLiteral("a password has at least 8 characters");
    m_users.append({name, role, hashSecret(password)});
    return {};
}

QString Store::setPassword(const QString& name, const QString& password)
{
    if (!user(name))
        return QStringLiteral("there is no account \"%1\"").arg(name);
    if (password.size() < 8)
        return QStringLiteral("a password has at least 8 characters");
    for (User& u : m_users)
        if (u.name == name)
            u.hash = hashSecret(password);
    return {};
}

QString Store::setRole(const QString& name, Role role)
{
    for (User& u : m_users)
        if (u.name == name) {
            u.role = role;
            return {};
        }
    return QStringLiteral("there is no account \"%1\"").arg(name);
}

QString Store::removeUser(const QString& name)
{
    if (m_users.removeIf([&](const User& u) { return u.name == name; }) == 0)
        return QStringLiteral("there is no account \"%1\"").arg(name);
    return {};
}

QString Store::createToken(const QString& name, Role role, QString* error)
{
    if (!validName(name)) {
        *error = QStringLiteral("a name has 1 to 64 letters, digits, '.', '_' or '-', not \"%1\"").arg(name);
        return {};
    }
    QString id = randomText(9);
    id.replace(u'-', u'x').replace(u'_', u'y'); // the id never holds the separator
    const QString secret = randomText(32);
    m_tokens.append({id, name, role, hashSecret(secret), QDateTime::currentDateTimeUtc()});
    return QStringLiteral("qmdt_") + id + u'_' + secret;
}

QString Store::revokeToken(const QString& idOrName)
{
    if (m_tokens.removeIf([&](const Token& t) { return t.id == idOrName || t.name == idOrName; }) == 0)
        return QStringLiteral("there is no token \"%1\"").arg(idOrName);
    return {};
}

std::optional<Identity> Store::login(const QString& name, const QString& password) const
{
    const User* u = user(name);
    if (!u) {
        verifySecret(decoyHash(), password);
        return std::nullopt;
    }
    if (!verifySecret(u->hash, password))
        return std::nullopt;
    return Identity{u->name, u->role, false};
}

std::optional<Identity> Store::tokenIdentity(const QString& tokenText) const
{
    if (!tokenText.startsWith(u"qmdt_"))
        return std::nullopt;
    const qsizetype split = tokenText.indexOf(u'_', 5);
    if (split < 0)
        return std::nullopt;
    const QString id = tokenText.mid(5, split - 5);
    for (const Token& t : m_tokens)
        if (t.id == id)
            return verifySecret(t.hash, tokenText.mid(split + 1)) ? std::optional<Identity>({t.name, t.role, true})
                                                                  : std::nullopt;
    return std::nullopt;
}

} // namespace accounts
