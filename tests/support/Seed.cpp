#include "Seed.h"

namespace testsupport {

namespace {
bool Run(const ProgramFolder& folder, const QString& sql)
{
    const bool ok = folder.Exec(sql);
    if (!ok) qWarning("statement failed: %s", qPrintable(sql));
    return ok;
}

QString Quoted(QString text)
{
    return QLatin1Char('\'') + text.replace(QLatin1Char('\''), QStringLiteral("''")) + QLatin1Char('\'');
}
}  // namespace

bool AddType(const ProgramFolder& folder, int typeId, int list, const QString& name,
             const QString& musicTitle, const QString& musicFile)
{
    return Run(folder,
               QStringLiteral("Insert Into t_HouseType (TypeID, List, HouseType, MusicTitle, MusicFile) "
                              "Values (%1, %2, %3, %4, %5)")
                   .arg(typeId)
                   .arg(list)
                   .arg(Quoted(name), Quoted(musicTitle), Quoted(musicFile)));
}

bool AddTypes(const ProgramFolder& folder, const QStringList& names)
{
    bool ok = true;
    int list = 0;
    for (const QString& name : names)
        ok = Run(folder, QStringLiteral("Insert Into t_HouseType (List, HouseType, MusicTitle, MusicFile) "
                                        "Values (%1, %2, '', '')")
                             .arg(++list)
                             .arg(Quoted(name))) &&
             ok;
    return ok;
}

bool AddHouse(const ProgramFolder& folder, qint64 houseId, const QString& name, const QString& no,
              const QVariant& floor, int typeId, const QString& intro)
{
    const QString floorText = floor.isNull() ? QStringLiteral("Null") : floor.toString();
    return Run(folder,
               QStringLiteral("Insert Into t_House (HouseID, HouseName, HouseNo, Intro, HouseFloor, TypeID) "
                              "Values (%1, %2, %3, %4, %5, %6)")
                   .arg(houseId)
                   .arg(Quoted(name), Quoted(no), Quoted(intro), floorText)
                   .arg(typeId));
}

bool AddContentRow(const ProgramFolder& folder, qint64 houseId, const QString& caption,
                   const QString& content, int list)
{
    return Run(folder, QStringLiteral(
                           "Insert Into t_Content (HouseID, Caption, Content, List) Values (%1, %2, %3, %4)")
                           .arg(houseId)
                           .arg(Quoted(caption), Quoted(content))
                           .arg(list));
}

bool AddPictureRow(const ProgramFolder& folder, qint64 houseId, int list, const QString& caption,
                   const QString& intro, const QString& file)
{
    return Run(folder, QStringLiteral("Insert Into t_Image (HouseID, Caption, Intro, ImageFile, List) "
                                      "Values (%1, %2, %3, %4, %5)")
                           .arg(houseId)
                           .arg(Quoted(caption), Quoted(intro), Quoted(file))
                           .arg(list));
}

QStringList TableRows(const ProgramFolder& folder, const QString& sql)
{
    QStringList out;
    for (const QVariantList& row : folder.Rows(sql)) {
        QStringList cells;
        for (const QVariant& v : row) cells << (v.isNull() ? QStringLiteral("NULL") : v.toString());
        out << cells.join(QLatin1Char('|'));
    }
    return out;
}

}  // namespace testsupport
