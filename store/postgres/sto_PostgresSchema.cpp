#include "store/postgres/sto_PostgresSchema.h"

#include <string_view>

namespace {

// Blocks and packs are compressed by the client or not at all, so PostgreSQL does not try: STORAGE EXTERNAL.
constexpr char Tables[] = R"(
CREATE SCHEMA IF NOT EXISTS kvl;
CREATE TABLE kvl.format(version int4 PRIMARY KEY);
INSERT INTO kvl.format VALUES(1);
CREATE TABLE kvl.store(
  store_id int8 GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
  name text NOT NULL UNIQUE,
  uuid bytea NOT NULL,
  owner name NOT NULL, writer name NOT NULL, reader name NOT NULL, -- roles
  has_own_roles bool NOT NULL DEFAULT true);
CREATE TABLE kvl.head(
  store_id int8 PRIMARY KEY,
  head int8 NOT NULL DEFAULT 0,
  save_no int8 NOT NULL DEFAULT 0,
  last_draft int8 NOT NULL DEFAULT 0,
  end_of_ids int8 NOT NULL DEFAULT 1,
  end_of_taken int8 NOT NULL DEFAULT 1,
  floor int8 NOT NULL DEFAULT 0, -- states of smaller saves are not kept
  sum numeric NOT NULL DEFAULT 0,
  has_indexes bool NOT NULL DEFAULT false) WITH (fillfactor = 10);
CREATE TABLE kvl.draft( -- those that are pending
  store_id int8, draft int8,
  token bytea NOT NULL,
  opened timestamptz NOT NULL DEFAULT clock_timestamp(),
  PRIMARY KEY(store_id, draft));
CREATE TABLE kvl.save(
  store_id int8, save_no int8,
  draft int8 NOT NULL,
  token bytea NOT NULL,
  at int8 NOT NULL,
  program bytea NOT NULL,
  note bytea NOT NULL,
  next_object_id int8 NOT NULL,
  changed bytea NOT NULL,
  PRIMARY KEY(store_id, save_no));
CREATE INDEX save_draft ON kvl.save(store_id, draft);
CREATE TABLE kvl.change(
  store_id int8, kind "char", unit int8, draft int8 NOT NULL, PRIMARY KEY(store_id, kind, unit));
CREATE UNLOGGED TABLE kvl.pin(
  store_id int8, session bytea, save_no int8 NOT NULL, head int8 NOT NULL, open int8[] NOT NULL,
  lease timestamptz NOT NULL,
  PRIMARY KEY(store_id, session)) WITH (fillfactor = 50);
CREATE TABLE kvl.named(
  store_id int8, name bytea, draft int8, data bytea, PRIMARY KEY(store_id, name, draft));
)";

constexpr char TableOfRows[] = R"(
CREATE TABLE kvl.@table(
  store_id int8, extent int8, key int8, draft int8, data bytea, PRIMARY KEY(store_id, extent, key, draft));
ALTER TABLE kvl.@table ALTER data SET STORAGE EXTERNAL;
)";

// What a user may do. The user is who has logged in: within these functions the current user is the tables' owner.
constexpr char Rights[] = R"(
CREATE FUNCTION kvl.has_role(role name) RETURNS bool LANGUAGE sql STABLE AS $$
  SELECT coalesce(pg_has_role(session_user, to_regrole(quote_ident(role))::oid, 'USAGE'), false)
$$;

-- The stores that the user may read, and the roles to grant to those who may do so, too.
CREATE VIEW kvl.stores WITH (security_barrier) AS
  SELECT s.name, s.owner, s.writer, s.reader FROM kvl.store s WHERE kvl.has_role(s.reader);

CREATE FUNCTION kvl.require(my_store int8, needed text) RETURNS void LANGUAGE plpgsql STABLE AS $$
DECLARE
  role name;
BEGIN
  SELECT CASE needed WHEN 'own' THEN s.owner WHEN 'write' THEN s.writer ELSE s.reader END INTO role
    FROM kvl.store s WHERE s.store_id = my_store;
  IF NOT FOUND THEN RAISE EXCEPTION 'the store was removed' USING ERRCODE = 'KVL05'; END IF;
  IF NOT kvl.has_role(role) THEN
    RAISE EXCEPTION 'user % may not % this store; whoever owns it can allow it: GRANT % TO %',
      session_user, needed, quote_ident(role), quote_ident(session_user) USING ERRCODE = '42501';
  END IF;
END $$;

-- Raises unless the user may read, and the rows of a state are all there: a reader must not take missing rows for
-- removed ones.
CREATE FUNCTION kvl.require_state(my_store int8, my_save int8) RETURNS void LANGUAGE plpgsql STABLE AS $$
DECLARE
  newest int8;
  oldest int8;
  may_read bool;
BEGIN
  SELECT h.save_no, h.floor, kvl.has_role(s.reader) INTO newest, oldest, may_read
    FROM kvl.head h JOIN kvl.store s ON s.store_id = h.store_id WHERE h.store_id = my_store;
  IF may_read IS NOT TRUE THEN PERFORM kvl.require(my_store, 'read'); END IF;
  IF oldest > my_save THEN
    RAISE EXCEPTION 'the state that the transaction reads is not kept any longer; begin it again'
      USING ERRCODE = 'KVL02';
  END IF;
  IF newest < my_save THEN
    RAISE EXCEPTION 'this server does not have save % yet; begin the transaction again', my_save
      USING ERRCODE = 'KVL02';
  END IF;
END $$;
)";

constexpr char Stores[] = R"(
-- Makes a store, which belongs to the user, with roles of its own. Without the right to make roles it has the user's
-- instead. Null: there is one of this name.
CREATE FUNCTION kvl.make_store(my_name text, my_uuid bytea) RETURNS int8 LANGUAGE plpgsql @definer AS $$
DECLARE
  mine int8;
  stem text := 'kvl_' || substr(replace(gen_random_uuid()::text, '-', ''), 1, 12);
BEGIN
  INSERT INTO kvl.store(name, uuid, owner, writer, reader)
    VALUES(my_name, my_uuid, stem || '_owner', stem || '_writer', stem || '_reader')
    ON CONFLICT DO NOTHING RETURNING store_id INTO mine;
  IF mine IS NULL THEN RETURN NULL; END IF;
  BEGIN
    EXECUTE format('CREATE ROLE %1$s_reader; CREATE ROLE %1$s_writer IN ROLE %1$s_reader; '
      'CREATE ROLE %1$s_owner IN ROLE %1$s_writer; '
      'GRANT %1$s_reader, %1$s_writer, %1$s_owner TO %2$I WITH ADMIN OPTION', stem, session_user);
  EXCEPTION WHEN insufficient_privilege THEN
    UPDATE kvl.store s SET owner = session_user, writer = session_user, reader = session_user, has_own_roles = false
      WHERE s.store_id = mine;
  END;
  INSERT INTO kvl.head(store_id, save_no) VALUES(mine, 1);
  INSERT INTO kvl.save VALUES(mine, 1, 0, my_uuid, (extract(epoch from clock_timestamp()) * 1000)::int8, '', '', 1,
    decode('000000', 'hex'));
  RETURN mine;
END $$;

-- The store of a name, if the user may see it.
CREATE FUNCTION kvl.find_store(my_name text) RETURNS TABLE(store_id int8, uuid bytea, may_write bool, writer name)
LANGUAGE plpgsql STABLE @definer AS $$
BEGIN
  RETURN QUERY SELECT s.store_id, s.uuid, kvl.has_role(s.writer), s.writer FROM kvl.store s
    WHERE s.name = my_name AND kvl.has_role(s.reader);
END $$;

CREATE FUNCTION kvl.rename_store(my_store int8, new_name text) RETURNS void LANGUAGE plpgsql @definer AS $$
BEGIN
  PERFORM kvl.require(my_store, 'own');
  UPDATE kvl.store s SET name = new_name WHERE s.store_id = my_store;
END $$;

CREATE FUNCTION kvl.remove_store(my_store int8) RETURNS void LANGUAGE plpgsql @definer AS $$
DECLARE
  mine kvl.store;
BEGIN
  PERFORM kvl.require(my_store, 'own');
  DELETE FROM kvl.store s WHERE s.store_id = my_store RETURNING * INTO mine;
  DELETE FROM kvl.head h WHERE h.store_id = my_store;
  DELETE FROM kvl.draft d WHERE d.store_id = my_store;
  DELETE FROM kvl.save s WHERE s.store_id = my_store;
  DELETE FROM kvl.change c WHERE c.store_id = my_store;
  DELETE FROM kvl.pin p WHERE p.store_id = my_store;
  DELETE FROM kvl.pack r WHERE r.store_id = my_store;
  DELETE FROM kvl.record r WHERE r.store_id = my_store;
  DELETE FROM kvl.block r WHERE r.store_id = my_store;
  DELETE FROM kvl.named n WHERE n.store_id = my_store;
  IF NOT mine.has_own_roles THEN RETURN; END IF;
  BEGIN
    EXECUTE format('DROP ROLE IF EXISTS %I, %I, %I', mine.owner, mine.writer, mine.reader);
  EXCEPTION WHEN dependent_objects_still_exist OR insufficient_privilege THEN NULL; -- they are of use elsewhere
  END;
END $$;

CREATE FUNCTION kvl.size_of(my_store int8) RETURNS int8 LANGUAGE plpgsql STABLE @definer AS $$
BEGIN
  PERFORM kvl.require(my_store, 'read');
  RETURN (SELECT coalesce(sum(length(r.data)), 0) FROM kvl.pack r WHERE r.store_id = my_store)
    + (SELECT coalesce(sum(length(r.data)), 0) FROM kvl.record r WHERE r.store_id = my_store)
    + (SELECT coalesce(sum(length(r.data)), 0) FROM kvl.block r WHERE r.store_id = my_store);
END $$;
)";

constexpr char Reading[] = R"(
CREATE FUNCTION kvl.open_drafts(my_store int8, up_to int8) RETURNS int8[] LANGUAGE sql STABLE AS $$
  SELECT coalesce(array_agg(d.draft ORDER BY d.draft), '{}') FROM kvl.draft d
    WHERE d.store_id = my_store AND d.draft <= up_to
$$;

-- Notes that a session reads the newest state: its rows stay for a minute, and longer if it asks again. The lock keeps
-- collectors out until the note is there.
CREATE FUNCTION kvl.pin_newest(my_store int8, my_session bytea) RETURNS void LANGUAGE plpgsql AS $$
DECLARE
  newest kvl.head;
BEGIN
  SELECT * INTO newest FROM kvl.head h WHERE h.store_id = my_store FOR SHARE;
  IF NOT FOUND THEN RETURN; END IF;
  INSERT INTO kvl.pin AS p VALUES(my_store, my_session, newest.save_no, newest.head,
      kvl.open_drafts(my_store, newest.head), clock_timestamp() + interval '60 s')
    ON CONFLICT ON CONSTRAINT pin_pkey DO UPDATE
    SET save_no = excluded.save_no, head = excluded.head, open = excluded.open, lease = excluded.lease;
END $$;

CREATE FUNCTION kvl.unpin(my_store int8, my_session bytea) RETURNS void LANGUAGE plpgsql @definer AS $$
BEGIN
  DELETE FROM kvl.pin p WHERE p.store_id = my_store AND p.session = my_session;
END $$;

-- The newest state, the row of a name in it, and the token of a save that the session has seen. A pin that is older
-- than the state keeps more than is needed, so it is set again only when its lease is half over. A commit that is held
-- up does not hold readers up: they read without a pin then, and learn it if rows are removed that they need.
CREATE FUNCTION kvl.read_state(my_store int8, my_session bytea, my_name bytea, known_save int8)
RETURNS TABLE(head int8, open int8[], save_no int8, end_of_ids int8, sum_high text, sum_low text, has_indexes bool,
              data bytea, token bytea, known_token bytea) LANGUAGE plpgsql @definer AS $$
BEGIN
  PERFORM kvl.require(my_store, 'read');
  -- A standby, or a session that may only read, cannot set one. Its own IF: a standby cannot even look at the table.
  IF NOT current_setting('transaction_read_only')::bool THEN
    IF NOT EXISTS(SELECT FROM kvl.pin p WHERE p.store_id = my_store AND p.session = my_session
        AND p.lease > clock_timestamp() + interval '30 s') THEN
      BEGIN
        PERFORM set_config('lock_timeout', '1s', true);
        PERFORM kvl.pin_newest(my_store, my_session);
      EXCEPTION WHEN lock_not_available THEN NULL;
      END;
    END IF;
  END IF;
  RETURN QUERY WITH state AS (
      SELECT h.*, kvl.open_drafts(my_store, h.head) AS open FROM kvl.head h WHERE h.store_id = my_store)
    SELECT s.head, s.open, s.save_no, s.end_of_ids, div(s.sum, 18446744073709551616)::text,
      mod(s.sum, 18446744073709551616)::text, s.has_indexes,
      (SELECT n.data FROM kvl.named n WHERE n.store_id = my_store AND n.name = my_name AND n.draft <= s.head
         AND n.draft <> ALL(s.open) ORDER BY n.draft DESC LIMIT 1),
      (SELECT v.token FROM kvl.save v WHERE v.store_id = my_store AND v.save_no = s.save_no),
      (SELECT v.token FROM kvl.save v WHERE v.store_id = my_store AND v.save_no = known_save) FROM state s;
END $$;

CREATE FUNCTION kvl.read_named(my_store int8, my_head int8, my_open int8[], my_save int8, names bytea[])
RETURNS TABLE(place int8, data bytea) LANGUAGE plpgsql STABLE @definer AS $$
BEGIN
  PERFORM kvl.require_state(my_store, my_save);
  RETURN QUERY SELECT k.place, r.data FROM unnest(names) WITH ORDINALITY AS k(name, place) CROSS JOIN LATERAL (
      SELECT n.data FROM kvl.named n WHERE n.store_id = my_store AND n.name = k.name AND n.draft <= my_head
        AND n.draft <> ALL(my_open) ORDER BY n.draft DESC LIMIT 1) r WHERE r.data IS NOT NULL;
END $$;

CREATE FUNCTION kvl.scan_named(my_store int8, my_head int8, my_open int8[], my_save int8, first bytea, until bytea,
                               most int8)
RETURNS TABLE(name bytea, data bytea) LANGUAGE plpgsql STABLE @definer @scans AS $$
BEGIN
  PERFORM kvl.require_state(my_store, my_save);
  RETURN QUERY SELECT t.name, t.data FROM (
      SELECT DISTINCT ON (n.name) n.name, n.data FROM kvl.named n WHERE n.store_id = my_store AND n.name >= first
        AND n.name < until AND n.draft <= my_head AND n.draft <> ALL(my_open) ORDER BY n.name, n.draft DESC) t
    WHERE t.data IS NOT NULL LIMIT most;
END $$;

CREATE FUNCTION kvl.saves_from(my_store int8, first int8)
RETURNS TABLE(save_no int8, at int8, program bytea, note bytea, next_object_id int8, changed bytea)
LANGUAGE plpgsql STABLE @definer AS $$
BEGIN
  PERFORM kvl.require(my_store, 'read');
  RETURN QUERY SELECT v.save_no, v.at, v.program, v.note, v.next_object_id, v.changed FROM kvl.save v
    WHERE v.store_id = my_store AND v.save_no >= first ORDER BY v.save_no;
END $$;
)";

// For each table of rows.
constexpr char ReadingRows[] = R"(
CREATE FUNCTION kvl.read_@table(my_store int8, my_head int8, my_open int8[], my_save int8, keys int8[])
RETURNS TABLE(key int8, draft int8, data bytea) LANGUAGE plpgsql STABLE @definer AS $$
BEGIN
  PERFORM kvl.require_state(my_store, my_save);
  RETURN QUERY SELECT k, r.draft, r.data FROM unnest(keys) AS k CROSS JOIN LATERAL (
      SELECT w.draft, w.data FROM kvl.@table w WHERE w.store_id = my_store AND w.extent = k >> @bits AND w.key = k
        AND w.draft <= my_head AND w.draft <> ALL(my_open) ORDER BY w.draft DESC LIMIT 1) r
    WHERE r.data IS NOT NULL;
END $$;

CREATE FUNCTION kvl.scan_@table(my_store int8, my_head int8, my_open int8[], my_save int8, first int8, last int8,
                                most int8)
RETURNS TABLE(key int8, draft int8, data bytea) LANGUAGE plpgsql STABLE @definer @scans AS $$
BEGIN
  PERFORM kvl.require_state(my_store, my_save);
  RETURN QUERY SELECT t.key, t.draft, t.data FROM (
      SELECT DISTINCT ON (r.extent, r.key) r.key, r.draft, r.data FROM kvl.@table r WHERE r.store_id = my_store
        AND r.extent BETWEEN first >> @bits AND last >> @bits AND r.key BETWEEN first AND last
        AND r.draft <= my_head AND r.draft <> ALL(my_open) ORDER BY r.extent, r.key, r.draft DESC) t
    WHERE t.data IS NOT NULL LIMIT most;
END $$;

CREATE FUNCTION kvl.keys_of_@table(my_store int8, my_head int8, my_open int8[], my_save int8, first int8, last int8)
RETURNS TABLE(key int8) LANGUAGE plpgsql STABLE @definer @scans AS $$
BEGIN
  PERFORM kvl.require_state(my_store, my_save);
  RETURN QUERY SELECT t.key FROM (
      SELECT DISTINCT ON (r.extent, r.key) r.key, r.data IS NOT NULL AS is_there FROM kvl.@table r
        WHERE r.store_id = my_store AND r.extent BETWEEN first >> @bits AND last >> @bits
        AND r.key BETWEEN first AND last AND r.draft <= my_head AND r.draft <> ALL(my_open)
        ORDER BY r.extent, r.key, r.draft DESC) t
    WHERE t.is_there;
END $$;

CREATE FUNCTION kvl.send_@table(my_store int8, my_draft int8, keys int8[], rows bytea[]) RETURNS void
LANGUAGE plpgsql @definer AS $$
BEGIN
  PERFORM kvl.require(my_store, 'write');
  INSERT INTO kvl.@table SELECT my_store, k >> @bits, k, my_draft, d FROM unnest(keys, rows) AS t(k, d);
END $$;

-- Removes rows that newer ones have replaced for everybody. Returns how many.
CREATE FUNCTION kvl.collect_@table(my_store int8, keys int8[], lowest int8, unseen int8[]) RETURNS int8
LANGUAGE plpgsql AS $$
DECLARE
  n int8;
BEGIN
  DELETE FROM kvl.@table r USING unnest(keys) AS k WHERE r.store_id = my_store AND r.extent = k >> @bits AND r.key = k
    AND r.draft < (SELECT max(w.draft) FROM kvl.@table w WHERE w.store_id = my_store AND w.extent = k >> @bits
                     AND w.key = k AND w.draft <= lowest AND w.draft <> ALL(unseen));
  GET DIAGNOSTICS n = ROW_COUNT;
  RETURN n;
END $$;
)";

constexpr char Writing[] = R"(
-- Hands out ids from `first` on, or from the next ones on. Returns the end of the range.
CREATE FUNCTION kvl.take_ids(my_store int8, first int8, n int8, wait text) RETURNS int8 LANGUAGE plpgsql @definer AS $$
DECLARE
  taken int8;
BEGIN
  PERFORM kvl.require(my_store, 'write');
  PERFORM set_config('lock_timeout', wait, true);
  UPDATE kvl.head h SET end_of_taken = greatest(h.end_of_taken, h.end_of_ids, first) + n WHERE h.store_id = my_store
    RETURNING h.end_of_taken INTO taken;
  RETURN taken;
END $$;

CREATE FUNCTION kvl.give_back_ids(my_store int8, first int8, last_end int8, wait text) RETURNS void
LANGUAGE plpgsql @definer AS $$
BEGIN
  PERFORM kvl.require(my_store, 'write');
  PERFORM set_config('lock_timeout', wait, true);
  UPDATE kvl.head h SET end_of_taken = first WHERE h.store_id = my_store AND h.end_of_taken = last_end;
END $$;

-- What a transaction locks while it sends the rows of a draft.
CREATE FUNCTION kvl.sending(my_store int8, my_draft int8) RETURNS int8 LANGUAGE sql IMMUTABLE AS $$
  SELECT hashtextextended('kvl ' || my_store || ' ' || my_draft, 0)
$$;

-- Opens a draft. Drafts of others that are older than a minute, and that nobody is sending, go.
CREATE FUNCTION kvl.open_draft(my_store int8, my_token bytea, wait text) RETURNS int8 LANGUAGE plpgsql @definer AS $$
DECLARE
  mine int8;
BEGIN
  PERFORM kvl.require(my_store, 'write');
  PERFORM set_config('lock_timeout', wait, true);
  UPDATE kvl.head h SET last_draft = last_draft + 1 WHERE h.store_id = my_store RETURNING last_draft INTO mine;
  INSERT INTO kvl.draft(store_id, draft, token) VALUES(my_store, mine, my_token);
  DELETE FROM kvl.draft d WHERE d.store_id = my_store AND d.draft IN (
    SELECT o.draft FROM kvl.draft o WHERE o.store_id = my_store AND o.opened < clock_timestamp() - interval '60 s'
      AND pg_try_advisory_xact_lock(kvl.sending(my_store, o.draft)) FOR UPDATE SKIP LOCKED);
  RETURN mine;
END $$;

-- Gives a draft up. Returns the number of its save if it is committed, otherwise 0. It waits for a commit that is under
-- way: this has locked the draft's row.
CREATE FUNCTION kvl.give_up(my_store int8, my_draft int8, my_token bytea, wait text) RETURNS int8
LANGUAGE plpgsql @definer AS $$
BEGIN
  PERFORM kvl.require(my_store, 'write');
  PERFORM set_config('lock_timeout', wait, true);
  DELETE FROM kvl.draft d WHERE d.store_id = my_store AND d.draft = my_draft AND d.token = my_token;
  RETURN coalesce((SELECT s.save_no FROM kvl.save s
    WHERE s.store_id = my_store AND s.draft = my_draft AND s.token = my_token), 0);
END $$;

CREATE FUNCTION kvl.send_named(my_store int8, my_draft int8, names bytea[], rows bytea[]) RETURNS void
LANGUAGE plpgsql @definer AS $$
BEGIN
  PERFORM kvl.require(my_store, 'write');
  INSERT INTO kvl.named SELECT my_store, n, my_draft, d FROM unnest(names, rows) AS t(n, d);
END $$;

-- Removes what a committed draft has replaced and nobody reads. Returns the number of the save.
CREATE FUNCTION kvl.collect(
  my_store int8, my_session bytea, packs int8[], records int8[], blocks int8[], names bytea[])
RETURNS int8 LANGUAGE plpgsql @definer AS $$
DECLARE
  lowest int8;
  oldest int8;
  unseen int8[];
  deleted int8;
  n int8;
BEGIN
  PERFORM kvl.require(my_store, 'write');
  PERFORM kvl.pin_newest(my_store, my_session);
  DELETE FROM kvl.pin p WHERE p.store_id = my_store AND p.lease < clock_timestamp();
  SELECT min(p.head), min(p.save_no) INTO lowest, oldest FROM kvl.pin p WHERE p.store_id = my_store;
  SELECT coalesce(array_agg(DISTINCT o), '{}') INTO unseen FROM kvl.pin p, unnest(p.open) AS o
    WHERE p.store_id = my_store;
  deleted := kvl.collect_pack(my_store, packs, lowest, unseen) + kvl.collect_record(my_store, records, lowest, unseen)
    + kvl.collect_block(my_store, blocks, lowest, unseen);
  DELETE FROM kvl.named r USING unnest(names) AS k WHERE r.store_id = my_store AND r.name = k
    AND r.draft < (SELECT max(w.draft) FROM kvl.named w WHERE w.store_id = my_store AND w.name = k
                     AND w.draft <= lowest AND w.draft <> ALL(unseen));
  GET DIAGNOSTICS n = ROW_COUNT;
  IF deleted + n > 0 THEN
    UPDATE kvl.head h SET floor = greatest(h.floor, oldest) WHERE h.store_id = my_store;
  END IF;
  RETURN (SELECT h.save_no FROM kvl.head h WHERE h.store_id = my_store);
END $$;

-- Commits a draft unless something that it has changed has changes that it has not seen: then it raises KVL03, and the
-- detail has the units in conflict. The groups are what was seen at one time: all up to a head, without some drafts.
-- Returns the number of the save. The draft's own row comes first: whoever gives it up has done so before, or does it
-- after, but not in between.
CREATE FUNCTION kvl.commit_draft(
  my_store int8, my_draft int8, my_token bytea, base_save int8, needs_all bool,
  kinds text[], units int8[], groups int8[], heads int8[], opens text[],
  added numeric, removed numeric, new_has_indexes bool,
  new_at int8, new_program bytea, new_note bytea, new_next_object_id int8, new_changed bytea)
RETURNS int8 LANGUAGE plpgsql @definer AS $$
DECLARE
  state kvl.head;
  conflicts text;
  modulus CONSTANT numeric := 340282366920938463463374607431768211456;
BEGIN
  PERFORM kvl.require(my_store, 'write');
  PERFORM FROM kvl.draft d WHERE d.store_id = my_store AND d.draft = my_draft AND d.token = my_token FOR UPDATE;
  IF NOT FOUND THEN RAISE EXCEPTION 'the save was given up' USING ERRCODE = 'KVL01'; END IF;
  SELECT * INTO state FROM kvl.head h WHERE h.store_id = my_store FOR UPDATE;
  SELECT string_agg(DISTINCT c.kind::text || c.unit, ' ') INTO conflicts
    FROM unnest(kinds, units, groups) AS u(k, n, g)
    JOIN kvl.change c ON c.store_id = my_store AND c.kind = u.k::"char" AND c.unit = u.n
    WHERE c.draft > heads[u.g] OR c.draft = ANY(opens[u.g]::int8[]);
  IF conflicts IS NULL AND (
      EXISTS(SELECT FROM kvl.change c WHERE c.store_id = my_store AND c.kind = 'a' AND c.unit = 0
        AND (c.draft > heads[1] OR c.draft = ANY(opens[1]::int8[])))
      OR needs_all AND state.save_no <> base_save) THEN
    conflicts := 'a0';
  END IF;
  IF conflicts IS NOT NULL THEN RAISE EXCEPTION 'conflict' USING ERRCODE = 'KVL03', DETAIL = conflicts; END IF;
  INSERT INTO kvl.change AS c(store_id, kind, unit, draft)
    SELECT DISTINCT my_store, u.k::"char", u.n, my_draft FROM unnest(kinds, units) AS u(k, n)
    UNION SELECT my_store, 'a', 0, my_draft WHERE needs_all
    ON CONFLICT ON CONSTRAINT change_pkey DO UPDATE SET draft = excluded.draft;
  UPDATE kvl.head h SET
      head = greatest(h.head, my_draft), save_no = h.save_no + 1,
      end_of_ids = greatest(h.end_of_ids, new_next_object_id),
      end_of_taken = greatest(h.end_of_taken, new_next_object_id),
      sum = mod(h.sum + added + modulus - removed, modulus),
      has_indexes = CASE WHEN needs_all THEN new_has_indexes ELSE h.has_indexes END
    WHERE h.store_id = my_store;
  DELETE FROM kvl.draft d WHERE d.store_id = my_store AND d.draft = my_draft;
  INSERT INTO kvl.save VALUES(my_store, state.save_no + 1, my_draft, my_token, new_at, new_program, new_note,
    greatest(state.end_of_ids, new_next_object_id), new_changed);
  RETURN state.save_no + 1;
END $$;
)";

// Everybody may call the functions, which look up what the user may do; but who makes stores is the database's owner's
// to say.
constexpr char Grants[] = R"(
GRANT USAGE ON SCHEMA kvl TO PUBLIC;
GRANT SELECT ON kvl.format, kvl.stores TO PUBLIC;
GRANT EXECUTE ON ALL FUNCTIONS IN SCHEMA kvl TO PUBLIC;
REVOKE ALL ON FUNCTION kvl.make_store(text, bytea) FROM PUBLIC;
)";

void Replace(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    text.replace(at, from.size(), to);
}

/// A text for each of the tables of rows. Bits: of a row's key, within an extent.
std::string OfRows(std::string_view text) {
  struct Table {
    char const *m_Name, *m_Bits;
  };
  std::string all;
  for (Table const& table : {Table{"pack", "6"}, Table{"record", "11"}, Table{"block", "12"}}) {
    std::string one(text);
    Replace(one, "@table", table.m_Name);
    Replace(one, "@bits", table.m_Bits);
    all += one;
  }
  return all;
}

} // namespace

std::string sto_PostgresSchema::TextOfMake() {
  std::string text = "DO $make$ BEGIN PERFORM pg_advisory_xact_lock(5427341206); "
                     "IF to_regclass('kvl.format') IS NOT NULL THEN RETURN; END IF;";
  text += Tables + OfRows(TableOfRows) + Rights + Stores + Reading + OfRows(ReadingRows) + Writing + Grants;
  text += "END $make$";
  // Whoever calls them must not choose which operators they use.
  Replace(text, "@definer", "SECURITY DEFINER SET search_path = pg_catalog, pg_temp");
  // The rows are in the order of the keys' index already; what is found is kept in memory before it is sent.
  Replace(text, "@scans", "SET enable_seqscan = off SET enable_bitmapscan = off SET work_mem = '64MB'");
  return text;
}
