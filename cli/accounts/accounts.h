#pragma once

// The accounts of the web console and the HTTP API: people (a name, a role and
// a password) and tokens for scripts (a name, a role and a secret shown once).
// One JSON file beside the machine-wide settings, replaced whole on every
// change and readable by its owner and group only. Passwords and token secrets
// are kept only as Argon2id hashes.

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

namespace accounts {

enum class Role { Viewer = 0, Operator = 1, Admin = 2 };
std::optional<Role> roleNamed(const QString& name); // "viewer", "operator", "admin"
QString roleName(Role role);

struct User {
    QString name;
    Role role = Role::Viewer;
    QString hash; // Argon2id, libsodium's string form
};

struct Token {
    QString id; // the public part of the token, shown by token list
    QString name;
    Role role = Role::Viewer;
    QString hash;
    QDateTime created;
};

// Who a request acts as.
struct Identity {
    QString name;
    Role role = Role::Viewer;
    bool token = false;
};

// Argon2id hash of a secret and its check.
QString hashSecret(const QString& secret);
bool verifySecret(const QString& hash, const QString& secret);
// `bytes` random bytes as URL-safe base64 without padding.
QString randomText(int bytes);

// A name people and tokens may have: 1 to 64 letters, digits, '.', '_' or '-'.
bool validName(const QString& name);

class Store final {
public:
    // The file beside the machine-wide settings store.
    static QString defaultPath();
    explicit Store(QString path = defaultPath());

    QString path() const { return m_path; }
    // Reads the file; a missing file has no accounts. False with error() when it is damaged.
    bool load();
    // Replaces the file whole (owner and group may read it, nobody else).
    bool save();
    QString error() const { return m_error; }

    const QList<User>& users() const { return m_users; }
    const QList<Token>& tokens() const { return m_tokens; }
    const User* user(const QString& name) const;

    // Each returns an error text, empty when done.
    QString addUser(const QString& name, Role role, const QString& password);
    QString setPassword(const QString& name, const QString& password);
    QString setRole(const QString& name, Role role);
    QString removeUser(const QString& name);
    // The token's whole text, to be shown once: "qmdt_" id "_" secret.
    QString createToken(const QString& name, Role role, QString* error);
    // By the token's id or name (every token of that name).
    QString revokeToken(const QString& idOrName);

    // Who a name and password or a token's text belong to.
    std::optional<Identity> login(const QString& name, const QString& password) const;
    std::optional<Identity> tokenIdentity(const QString& tokenText) const;

private:
    QString m_path;
    QString m_error;
    QList<User> m_users;
    QList<Token> m_tokens;
};

} // namespace accounts
