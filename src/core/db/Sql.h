#pragma once

#include <QString>
#include <QVariant>
#include <vector>

namespace db {

// A statement built by concatenation, the way the windows always built theirs, that still knows
// which of its pieces were typed (or read back from the catalogue) and which the program wrote.
//  - Jet() is the text exactly as the original concatenation gives it: what the statement tests
//    compare and what the statement has always said.
//  - Bind() gives the text that runs: every quoted literal that holds a value becomes one
//    placeholder ($1, $2 ...) whose value is the literal's content ("Like '%" + v + "%'" binds
//    "%" + v + "%"), and a value outside quotes (a typed floor) becomes a placeholder bound as a
//    number. Typed text thus reaches the store only as data: it can neither end the statement nor
//    add to it.
// Program text converts implicitly, so a fixed statement is still written as a plain string.
class Sql {
public:
    Sql() = default;
    Sql(const QString& programText);  // NOLINT: fixed statements stay plain strings
    Sql(const char* programText);     // NOLINT

    // A value pasted as it stands (inside quotes the program wrote, or bare as a number).
    static Sql Value(const QString& value);
    // A value as a whole literal of its own: in the Jet text between single quotes with every
    // quote doubled.
    static Sql Quoted(const QString& value);

    Sql& operator+=(const Sql& other);
    friend Sql operator+(Sql left, const Sql& right) { return left += right; }

    QString Jet() const;
    bool HasValues() const;
    bool IsEmpty() const { return pieces_.empty(); }
    void Clear() { pieces_.clear(); }

    // The text with placeholders and the values that go with them, in order. A value outside
    // quotes that is not a number, or a literal the program left open, makes the statement one
    // that must fail (valid false), as the Jet text would have failed.
    struct Bound {
        QString text;
        std::vector<QVariant> values;
        bool valid = true;
    };
    Bound Bind() const;

    friend bool operator==(const Sql& left, const QString& right) { return left.Jet() == right; }
    friend bool operator!=(const Sql& left, const QString& right) { return left.Jet() != right; }

private:
    enum class Kind { Program, Value, Quoted };
    struct Piece {
        Kind kind;
        QString text;
    };
    std::vector<Piece> pieces_;
};

// PostgreSQL text cannot hold U+0000 and SQLite's statements stop at it: a text value bound to
// either store loses its NUL characters, so both stores keep the same text.
QString WithoutNul(const QString& text);

// For test failure messages (found by argument-dependent lookup).
char* toString(const Sql& sql);

}  // namespace db
