// tembrix-cli create | list | show | clear | vacuum

#include "cli/commands.h"
#include "database/index_store.h"
#include "database/record_text.h"
#include "util/file_utils.h"

namespace tembrix::cli {

namespace {

// Parses the common "[--db DB]" options; prints the usage line on error.
bool ParseDbOnly(const QStringList& args, const char* usage, qsizetype positionals, Options& o) {
    o = Parse(args, {QStringLiteral("db")}, {});
    if (!o.error.isEmpty() || o.positional.size() != positionals) {
        Err(o.error.isEmpty() ? QString::fromUtf8(usage) : o.error);
        return false;
    }
    return true;
}

}  // namespace

int CmdCreate(Session& /*session*/, const QStringList& args) {
    Options o;
    if (!ParseDbOnly(args, "Usage: tembrix-cli create DB", 1, o)) {
        return kExitUsage;
    }
    const QString path = o.positional[0];
    if (FileExists(path)) {
        Err(QStringLiteral("The file exists already: ") + path);
        return kExitUsage;
    }
    TDataModule1 store;
    if (!store.Connect(path) || !store.CreateTable()) {
        return kExitUsage;
    }
    Out(QStringLiteral("Создана база данных: ") + path);
    return kExitOk;
}

int CmdList(Session& session, const QStringList& args) {
    Options o;
    if (!ParseDbOnly(args, "Usage: tembrix-cli list [--db DB]", 0, o)) {
        return kExitUsage;
    }
    TDataModule1& store = session.Store();
    if (!ConnectDatabase(session, o)) {
        return kExitUsage;
    }
    QStringList names;
    QStringList ids;
    if (!store.ListTracks(names, ids)) {
        Err(QStringLiteral("Ошибка выполнения запроса!"));
        return kExitUsage;
    }
    for (qsizetype i = 0; i < names.size(); ++i) {
        Out(ids[i] + u'\t' + names[i]);
    }
    return kExitOk;
}

int CmdShow(Session& session, const QStringList& args) {
    Options o;
    if (!ParseDbOnly(args, "Usage: tembrix-cli show [--db DB] ID", 1, o)) {
        return kExitUsage;
    }
    bool isNumber = false;
    const int id = o.positional[0].toInt(&isNumber);
    if (!isNumber) {
        Err(QStringLiteral("Not a record id: ") + o.positional[0]);
        return kExitUsage;
    }
    TDataModule1& store = session.Store();
    if (!ConnectDatabase(session, o)) {
        return kExitUsage;
    }
    IndexRecord record;
    std::vector<uint16_t> envelope;
    int32_t count = 0;
    record.source_size = -1;  // stays -1 when no row has that id
    if (!store.GetRecordWithIndex(id, record, envelope, count)) {
        Err(QStringLiteral("Ошибка выполнения запроса!"));
        return kExitUsage;
    }
    if (record.source_size == -1) {
        Err(QStringLiteral("Нет записи с id = %1").arg(id));
        return kExitPartial;
    }
    for (const QString& row : RecordRows(record)) {
        Out(row);
    }
    if (!record.info.isEmpty()) {
        Out(QString());
        Out(record.info.endsWith(u'\n') ? record.info.chopped(1) : record.info);
    }
    return kExitOk;
}

int CmdClear(Session& session, const QStringList& args) {
    Options o;
    if (!ParseDbOnly(args, "Usage: tembrix-cli clear [--db DB]", 0, o)) {
        return kExitUsage;
    }
    TDataModule1& store = session.Store();
    if (!ConnectDatabase(session, o)) {
        return kExitUsage;
    }
    if (!store.ClearTable()) {
        return kExitPartial;  // the store has said "Ошибка очистки таблицы!"; nothing more
    }
    store.Vacuum();
    store.Commit();
    Out(QStringLiteral("База данных успешно очищена!"));
    return kExitOk;
}

int CmdVacuum(Session& session, const QStringList& args) {
    Options o;
    if (!ParseDbOnly(args, "Usage: tembrix-cli vacuum [--db DB]", 0, o)) {
        return kExitUsage;
    }
    TDataModule1& store = session.Store();
    if (!ConnectDatabase(session, o)) {
        return kExitUsage;
    }
    if (!store.Vacuum()) {
        Err(QStringLiteral("Операция завершилась ошибкой!"));
        return kExitPartial;
    }
    Out(QStringLiteral("База данных сжата!"));
    return kExitOk;
}

}  // namespace tembrix::cli
