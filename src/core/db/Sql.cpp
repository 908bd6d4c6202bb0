#include "core/db/Sql.h"

#include <QByteArray>

#include "core/db/Connection.h"
#include "core/db/Convert.h"

namespace db {

namespace {

// A bare value stands where the statement expects a number; the Jet text would fail on anything
// else, so the bound form refuses it too.
bool numberValue(const QString& text, QVariant* out)
{
    if (!IsNumeric(text)) return false;
    const QString trimmed = text.trimmed();
    bool ok = false;
    const qlonglong whole = trimmed.toLongLong(&ok);
    if (ok) {
        *out = QVariant(qint64(whole));
        return true;
    }
    const double d = trimmed.toDouble(&ok);
    if (ok) *out = QVariant(d);
    return ok;
}

// Walks the pieces once, keeping the program's own literals as they are and turning every literal
// that a value is part of into a placeholder.
class Binder {
public:
    explicit Binder(Sql::Bound& out) : out_(out) {}

    void program(const QString& text)
    {
        for (int i = 0; i < text.size(); ++i) {
            const QChar c = text.at(i);
            if (!inQuote_) {
                if (c == QLatin1Char('\'')) {
                    inQuote_ = true;
                    literal_.clear();
                    raw_ = QStringLiteral("'");
                    hasValue_ = false;
                } else {
                    out_.text += c;
                }
                continue;
            }
            raw_ += c;
            if (c != QLatin1Char('\'')) {
                literal_ += c;
            } else if (i + 1 < text.size() && text.at(i + 1) == QLatin1Char('\'')) {
                literal_ += c;  // a doubled quote the program wrote is one quote of the text
                raw_ += c;
                ++i;
            } else {
                inQuote_ = false;
                if (hasValue_)
                    placeholder(literal_);
                else
                    out_.text += raw_;
            }
        }
    }

    void value(const QString& text)
    {
        if (inQuote_) {
            literal_ += text;
            hasValue_ = true;
            return;
        }
        QVariant number;
        if (!numberValue(text, &number)) out_.valid = false;
        placeholder(number);
    }

    void quoted(const QString& text)
    {
        if (inQuote_) {
            // Never written so; the value still only counts as part of the literal's text.
            literal_ += text;
            hasValue_ = true;
            return;
        }
        placeholder(text);
    }

    void finish()
    {
        if (inQuote_) out_.valid = false;
    }

private:
    void placeholder(const QVariant& v)
    {
        out_.values.push_back(v);
        out_.text += QLatin1Char('$') + QString::number(out_.values.size());
    }

    Sql::Bound& out_;
    bool inQuote_ = false;
    bool hasValue_ = false;
    QString literal_;  // the literal's content, doubled quotes made single
    QString raw_;      // the literal as the program wrote it, quotes included
};

}  // namespace

Sql::Sql(const QString& programText)
{
    if (!programText.isEmpty()) pieces_.push_back({Kind::Program, programText});
}

Sql::Sql(const char* programText) : Sql(QString::fromUtf8(programText)) {}

Sql Sql::Value(const QString& value)
{
    Sql sql;
    sql.pieces_.push_back({Kind::Value, value});
    return sql;
}

Sql Sql::Quoted(const QString& value)
{
    Sql sql;
    sql.pieces_.push_back({Kind::Quoted, value});
    return sql;
}

Sql& Sql::operator+=(const Sql& other)
{
    for (const Piece& piece : other.pieces_) {
        // Neighbouring program pieces are one: a quote the program opens in one piece and closes
        // in the next is still recognised as one literal.
        if (piece.kind == Kind::Program && !pieces_.empty() && pieces_.back().kind == Kind::Program)
            pieces_.back().text += piece.text;
        else
            pieces_.push_back(piece);
    }
    return *this;
}

QString Sql::Jet() const
{
    QString text;
    for (const Piece& piece : pieces_)
        text += piece.kind == Kind::Quoted ? QuoteText(piece.text) : piece.text;
    return text;
}

bool Sql::HasValues() const
{
    for (const Piece& piece : pieces_)
        if (piece.kind != Kind::Program) return true;
    return false;
}

Sql::Bound Sql::Bind() const
{
    Bound bound;
    Binder binder(bound);
    for (const Piece& piece : pieces_) {
        switch (piece.kind) {
            case Kind::Program:
                binder.program(piece.text);
                break;
            case Kind::Value:
                binder.value(piece.text);
                break;
            case Kind::Quoted:
                binder.quoted(piece.text);
                break;
        }
    }
    binder.finish();
    return bound;
}

QString WithoutNul(const QString& text)
{
    if (!text.contains(QChar(0))) return text;
    QString clean = text;
    clean.remove(QChar(0));
    return clean;
}

char* toString(const Sql& sql)
{
    return qstrdup(sql.Jet().toUtf8().constData());
}

}  // namespace db
