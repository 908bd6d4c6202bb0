#pragma once

#include <QString>

// The statements of the type manager and the template editor, built by concatenation exactly as
// the windows issue them; kept apart so that tests can compare the texts.
namespace TypeSql {

QString SelectTypes();
QString MusicFileAt(qint16 list);
QString TypeIdAt(qint16 list);
QString CountHousesOfType(qint32 typeId);
QString DeleteTypeAt(qint16 list);
QString CloseGapAfter(qint16 list);
QString MoveUp(qint16 p);
QString MoveDown(qint16 p);
QString EditedTypeAt(qint16 list);
QString LastType();

QString TemplateOf(qint32 typeId);
QString DeleteTemplateOf(qint32 typeId);
QString EmptyTemplateRows();

}  // namespace TypeSql
