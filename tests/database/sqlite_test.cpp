// Statements a connection keeps prepared between uses.

#include <gtest/gtest.h>

#include <QStringList>

#include "database/sqlite.h"
#include "support/temp_dir.h"

namespace tembrix {
namespace {

constexpr char kFrom[] = "SELECT x FROM t WHERE x >= :X ORDER BY x";

// A new database file holding table t with the given values.
QString MakeTable(const test::TempDir& dir, const QString& name, const char* values) {
    const QString path = dir.File(name);
    SqliteConnection c;
    EXPECT_TRUE(c.Open(path) &&
                c.Exec(QStringLiteral("CREATE TABLE t(x INTEGER); INSERT INTO t VALUES %1").arg(values)));
    return path;
}

// The values a kept statement of kFrom gives from `from` on; `bind` false leaves :X unbound (NULL).
QStringList From(SqliteConnection& c, int64_t from, bool bind = true) {
    SqliteStatement q(c, kFrom, SqliteStatement::Prepared::Kept);
    if (bind) {
        q.Bind(":X", from);
    }
    QStringList values;
    while (q.Next()) {
        values.append(q.Text(0));
    }
    EXPECT_FALSE(q.Failed());
    return values;
}

// Catches old bindings or half-read rows (holding a lock) left in a kept statement, one statement shared by
// two uses at once, and a statement of an earlier opening or schema used again.
TEST(KeptStatements, EveryUseStartsCleanAndSeesTheFileAndSchemaOfTheMoment) {
    test::TempDir dir;
    const QString a = MakeTable(dir, QStringLiteral("a.db"), "(1), (2), (3)");
    const QString b = MakeTable(dir, QStringLiteral("b.db"), "(7), (8)");
    SqliteConnection c;
    ASSERT_TRUE(c.Open(a));

    // New bindings each time; a binding left out is NULL, not the one before.
    EXPECT_EQ((QList<QStringList>{From(c, 2), From(c, 3), From(c, 0, false)}),
              (QList<QStringList>{{"2", "3"}, {"3"}, {}}));

    // Two uses at once do not share a statement.
    {
        SqliteStatement first(c, kFrom, SqliteStatement::Prepared::Kept);
        first.Bind(":X", int64_t{1});
        ASSERT_TRUE(first.Next());
        EXPECT_EQ(From(c, 2), (QStringList{"2", "3"}));
        EXPECT_TRUE(first.Next() && first.Text(0) == "2");
        // Given back half-read: it must not keep its read lock, or the write below waits and fails.
    }
    SqliteConnection writer;
    ASSERT_TRUE(writer.Open(a) && writer.Exec("BEGIN EXCLUSIVE; INSERT INTO t VALUES (4); COMMIT"));
    EXPECT_EQ(From(c, 3), (QStringList{"3", "4"}));

    // A schema change: the kept statement follows the new table.
    ASSERT_TRUE(c.Exec("DROP TABLE t; CREATE TABLE t(x INTEGER); INSERT INTO t VALUES (5)"));
    EXPECT_EQ(From(c, 0), QStringList{"5"});

    // Another file on the same connection object, with a statement still in use across the switch.
    {
        SqliteStatement old(c, kFrom, SqliteStatement::Prepared::Kept);
        c.Close();
        ASSERT_TRUE(c.Open(b));
    }
    EXPECT_EQ(From(c, 0), (QStringList{"7", "8"}));

    // A statement that cannot be prepared fails each time and is never kept.
    for (int i = 0; i < 2; ++i) {
        SqliteStatement bad(c, "SELECT x FROM missing", SqliteStatement::Prepared::Kept);
        EXPECT_FALSE(bad.Ok() || bad.Next());
    }
}

}  // namespace
}  // namespace tembrix
