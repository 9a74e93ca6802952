#include "store/rules_record.h"

#include <cerrno>
#include <cstring>

#include "store/layout/database.h"
#include "store/process/gate.h"

using namespace ostren::fenra::store;

namespace {

// The longest name that a later version may give to rules, and its zero byte.
constexpr guint32 NAME_ROOM = 64;

// The name that the store has, zero-terminated; "plain" when it has none.
int read_name(ArticledbDb* db, char (&name)[NAME_ROOM]) {
  DBT data = output_item(name, NAME_ROOM - 1);
  DBT key = input_item(RULES_KEY, sizeof RULES_KEY);
  const int ret =
      read_in_gate(db, [&] { return db->iddb->get(db->iddb, nullptr, &key, &data, 0); });
  if (ret == DB_NOTFOUND) {
    g_strlcpy(name, ARTICLEDB_RULES_PLAIN, NAME_ROOM);
    return 0;
  }
  name[ret == 0 ? data.size : 0] = '\0';
  return ret;
}

}  // namespace

bool ostren::fenra::store::is_plain(const ArticledbRules& rules) {
  return strcmp(rules.name, ARTICLEDB_RULES_PLAIN) == 0;
}

int ostren::fenra::store::put_rules(ArticledbDb* db, std::string_view name) {
  DB* const iddb = db->iddb;
  DBT key = input_item(RULES_KEY, sizeof RULES_KEY);
  DBT data = input_item(name);
  DBT same = data;
  int ret = iddb->get(iddb, nullptr, &key, &same, DB_GET_BOTH);
  if (ret != DB_NOTFOUND) {
    return ret;
  }
  const bool plain = name == ARTICLEDB_RULES_PLAIN;
  DBT other = plain ? key : input_item(ID_COUNTER_KEY, sizeof ID_COUNTER_KEY);
  ret = iddb->exists(iddb, nullptr, &other, 0);
  if (ret != DB_NOTFOUND) {
    return ret == 0 ? EEXIST : ret;
  }
  return plain ? 0 : iddb->put(iddb, nullptr, &key, &data, 0);
}

int articledb_db_get_rules(ArticledbDb* db, const ArticledbRules** rules) {
  char name[NAME_ROOM];
  const int ret = read_name(db, name);
  if (ret != 0 && ret != DB_BUFFER_SMALL) {
    report(db->iddb, ret);
    return ret;
  }
  const ArticledbRules* const known = ret == 0 ? articledb_rules_by_name(name) : nullptr;
  if (known == nullptr) {
    db->env->errx(db->env,
                  "the store was made with the rules of words '%s', which this version does not "
                  "have; use the version that made it, or a later one",
                  name);
    return STATUS_UNKNOWN_RULES;
  }
  *rules = known;
  return 0;
}
