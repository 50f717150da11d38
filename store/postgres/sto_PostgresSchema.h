#pragma once

/// The tables of stores in a PostgreSQL database, all in the schema `kvl`; docs/server.md says what the rows are. Each
/// key begins with the store, so that one database keeps many stores. `extent` brings neighbours together and spreads
/// long lists: it is what rows could be spread over servers by.
namespace sto_PostgresSchema {

/// The version of these tables.
inline constexpr int Format = 1;

/// Bits of a pack's or a record's key, and of a block's, within an extent.
inline constexpr int PackExtentBits = 6;
inline constexpr int RecordExtentBits = 11;
inline constexpr int BlockExtentBits = 12;

// Blocks and packs are compressed by the client or not at all, so PostgreSQL does not try: STORAGE EXTERNAL.
inline constexpr char Make[] = R"(
BEGIN;
SELECT pg_advisory_xact_lock(5427341206);
CREATE SCHEMA IF NOT EXISTS kvl;
CREATE TABLE IF NOT EXISTS kvl.format(version int4 PRIMARY KEY);
INSERT INTO kvl.format VALUES(1) ON CONFLICT DO NOTHING;
CREATE TABLE IF NOT EXISTS kvl.store(
  store_id int8 GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
  name text NOT NULL UNIQUE,
  uuid bytea NOT NULL);
CREATE TABLE IF NOT EXISTS kvl.head(
  store_id int8 PRIMARY KEY,
  head int8 NOT NULL DEFAULT 0,
  save_no int8 NOT NULL DEFAULT 0,
  last_draft int8 NOT NULL DEFAULT 0,
  end_of_ids int8 NOT NULL DEFAULT 1,
  end_of_taken int8 NOT NULL DEFAULT 1,
  floor int8 NOT NULL DEFAULT 0, -- states of smaller saves are not kept
  sum numeric NOT NULL DEFAULT 0,
  has_indexes bool NOT NULL DEFAULT false) WITH (fillfactor = 10);
CREATE TABLE IF NOT EXISTS kvl.draft( -- those that are pending
  store_id int8, draft int8,
  token bytea NOT NULL,
  opened timestamptz NOT NULL DEFAULT clock_timestamp(),
  PRIMARY KEY(store_id, draft));
CREATE TABLE IF NOT EXISTS kvl.save(
  store_id int8, save_no int8,
  draft int8 NOT NULL,
  token bytea NOT NULL,
  at int8 NOT NULL,
  program bytea NOT NULL,
  note bytea NOT NULL,
  next_object_id int8 NOT NULL,
  changed bytea NOT NULL,
  PRIMARY KEY(store_id, save_no));
CREATE INDEX IF NOT EXISTS save_draft ON kvl.save(store_id, draft);
CREATE TABLE IF NOT EXISTS kvl.change(
  store_id int8, kind "char", unit int8, draft int8 NOT NULL, PRIMARY KEY(store_id, kind, unit));
CREATE UNLOGGED TABLE IF NOT EXISTS kvl.pin(
  store_id int8, session bytea, save_no int8 NOT NULL, head int8 NOT NULL, open int8[] NOT NULL,
  lease timestamptz NOT NULL,
  PRIMARY KEY(store_id, session)) WITH (fillfactor = 50);
CREATE TABLE IF NOT EXISTS kvl.pack(
  store_id int8, extent int8, key int8, draft int8, data bytea, PRIMARY KEY(store_id, extent, key, draft));
CREATE TABLE IF NOT EXISTS kvl.record(
  store_id int8, extent int8, key int8, draft int8, data bytea, PRIMARY KEY(store_id, extent, key, draft));
CREATE TABLE IF NOT EXISTS kvl.block(
  store_id int8, extent int8, key int8, draft int8, data bytea, PRIMARY KEY(store_id, extent, key, draft));
CREATE TABLE IF NOT EXISTS kvl.named(
  store_id int8, name bytea, draft int8, data bytea, PRIMARY KEY(store_id, name, draft));
ALTER TABLE kvl.pack ALTER data SET STORAGE EXTERNAL;
ALTER TABLE kvl.record ALTER data SET STORAGE EXTERNAL;
ALTER TABLE kvl.block ALTER data SET STORAGE EXTERNAL;

CREATE OR REPLACE FUNCTION kvl.open_drafts(my_store int8, up_to int8) RETURNS int8[] LANGUAGE sql STABLE AS $$
  SELECT coalesce(array_agg(d.draft ORDER BY d.draft), '{}') FROM kvl.draft d
    WHERE d.store_id = my_store AND d.draft <= up_to
$$;

-- Notes that a session reads the newest state: its rows stay for a minute, and longer if it asks again. The lock keeps
-- collectors out until the note is there.
CREATE OR REPLACE FUNCTION kvl.pin_newest(my_store int8, my_session bytea) RETURNS void LANGUAGE plpgsql SET lock_timeout = '5s' AS $$
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

-- The newest state, the row of a name in it, and the token of a save that the session has seen. A pin that is older
-- than the state keeps more than is needed, so it is set again only when its lease is half over.
CREATE OR REPLACE FUNCTION kvl.read_state(my_store int8, my_session bytea, my_name bytea, known_save int8)
RETURNS TABLE(head int8, open int8[], save_no int8, end_of_ids int8, sum_high text, sum_low text, has_indexes bool,
              data bytea, token bytea, known_token bytea) LANGUAGE plpgsql AS $$
BEGIN
  -- A standby, or a session that may only read, cannot set one. Its own IF: a standby cannot even look at the table.
  IF NOT current_setting('transaction_read_only')::bool THEN
    IF NOT EXISTS(SELECT FROM kvl.pin p WHERE p.store_id = my_store AND p.session = my_session
        AND p.lease > clock_timestamp() + interval '30 s') THEN
      PERFORM kvl.pin_newest(my_store, my_session);
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

-- Opens a draft. Drafts of others that are older than a minute, and that nobody is sending, go.
CREATE OR REPLACE FUNCTION kvl.open_draft(my_store int8, my_token bytea) RETURNS int8
LANGUAGE plpgsql SET lock_timeout = '5s' AS $$
DECLARE
  mine int8;
BEGIN
  UPDATE kvl.head h SET last_draft = last_draft + 1 WHERE h.store_id = my_store RETURNING last_draft INTO mine;
  INSERT INTO kvl.draft(store_id, draft, token) VALUES(my_store, mine, my_token);
  DELETE FROM kvl.draft d WHERE d.store_id = my_store AND d.draft IN (
    SELECT o.draft FROM kvl.draft o WHERE o.store_id = my_store AND o.opened < clock_timestamp() - interval '60 s'
      AND pg_try_advisory_xact_lock(kvl.sending(my_store, o.draft)) FOR UPDATE SKIP LOCKED);
  RETURN mine;
END $$;

-- What a transaction locks while it sends the rows of a draft.
CREATE OR REPLACE FUNCTION kvl.sending(my_store int8, my_draft int8) RETURNS int8 LANGUAGE sql IMMUTABLE AS $$
  SELECT hashtextextended('kvl ' || my_store || ' ' || my_draft, 0)
$$;

-- Gives a draft up. Returns the number of its save if it is committed, otherwise 0. It waits for a commit that is under
-- way: this has locked the draft's row.
CREATE OR REPLACE FUNCTION kvl.give_up(my_store int8, my_draft int8, my_token bytea) RETURNS int8
LANGUAGE plpgsql SET lock_timeout = '5s' AS $$
BEGIN
  DELETE FROM kvl.draft d WHERE d.store_id = my_store AND d.draft = my_draft AND d.token = my_token;
  RETURN coalesce((SELECT s.save_no FROM kvl.save s
    WHERE s.store_id = my_store AND s.draft = my_draft AND s.token = my_token), 0);
END $$;

-- Hands out ids from `first` on, or from the next ones on. Returns the end of the range.
CREATE OR REPLACE FUNCTION kvl.take_ids(my_store int8, first int8, n int8) RETURNS int8
LANGUAGE sql SET lock_timeout = '5s' AS $$
  UPDATE kvl.head SET end_of_taken = greatest(end_of_taken, end_of_ids, first) + n WHERE store_id = my_store
    RETURNING end_of_taken
$$;

-- Whether the rows of a state are all there. Raises if not: a reader must not take missing rows for removed ones.
CREATE OR REPLACE FUNCTION kvl.holds(my_store int8, my_save int8) RETURNS bool LANGUAGE plpgsql STABLE AS $$
BEGIN
  IF EXISTS(SELECT FROM kvl.head h WHERE h.store_id = my_store AND h.floor > my_save) THEN
    RAISE EXCEPTION 'the state that the transaction reads is not kept any longer; begin it again'
      USING ERRCODE = 'KVL02';
  END IF;
  IF EXISTS(SELECT FROM kvl.head h WHERE h.store_id = my_store AND h.save_no < my_save) THEN
    RAISE EXCEPTION 'this server does not have save % yet; begin the transaction again', my_save
      USING ERRCODE = 'KVL02';
  END IF;
  RETURN true;
END $$;

-- Removes what a committed draft has replaced and nobody reads. Returns the number of the save.
CREATE OR REPLACE FUNCTION kvl.collect(
  my_store int8, my_session bytea, packs int8[], records int8[], blocks int8[], names bytea[])
RETURNS int8 LANGUAGE plpgsql AS $$
DECLARE
  lowest int8;
  oldest int8;
  unseen int8[];
  deleted int8 := 0;
  n int8;
BEGIN
  PERFORM kvl.pin_newest(my_store, my_session);
  DELETE FROM kvl.pin p WHERE p.store_id = my_store AND p.lease < clock_timestamp();
  SELECT min(p.head), min(p.save_no) INTO lowest, oldest FROM kvl.pin p WHERE p.store_id = my_store;
  SELECT coalesce(array_agg(DISTINCT o), '{}') INTO unseen FROM kvl.pin p, unnest(p.open) AS o
    WHERE p.store_id = my_store;
  DELETE FROM kvl.pack r USING unnest(packs) AS k WHERE r.store_id = my_store AND r.extent = k >> 6 AND r.key = k
    AND r.draft < (SELECT max(w.draft) FROM kvl.pack w WHERE w.store_id = my_store AND w.extent = k >> 6 AND w.key = k
                     AND w.draft <= lowest AND w.draft <> ALL(unseen));
  GET DIAGNOSTICS n = ROW_COUNT; deleted := deleted + n;
  DELETE FROM kvl.record r USING unnest(records) AS k
    WHERE r.store_id = my_store AND r.extent = k >> 11 AND r.key = k
    AND r.draft < (SELECT max(w.draft) FROM kvl.record w WHERE w.store_id = my_store AND w.extent = k >> 11
                     AND w.key = k AND w.draft <= lowest AND w.draft <> ALL(unseen));
  GET DIAGNOSTICS n = ROW_COUNT; deleted := deleted + n;
  DELETE FROM kvl.block r USING unnest(blocks) AS k WHERE r.store_id = my_store AND r.extent = k >> 12 AND r.key = k
    AND r.draft < (SELECT max(w.draft) FROM kvl.block w WHERE w.store_id = my_store AND w.extent = k >> 12
                     AND w.key = k AND w.draft <= lowest AND w.draft <> ALL(unseen));
  GET DIAGNOSTICS n = ROW_COUNT; deleted := deleted + n;
  DELETE FROM kvl.named r USING unnest(names) AS k WHERE r.store_id = my_store AND r.name = k
    AND r.draft < (SELECT max(w.draft) FROM kvl.named w WHERE w.store_id = my_store AND w.name = k
                     AND w.draft <= lowest AND w.draft <> ALL(unseen));
  GET DIAGNOSTICS n = ROW_COUNT; deleted := deleted + n;
  IF deleted > 0 THEN
    UPDATE kvl.head h SET floor = greatest(h.floor, oldest) WHERE h.store_id = my_store;
  END IF;
  RETURN (SELECT h.save_no FROM kvl.head h WHERE h.store_id = my_store);
END $$;

-- Commits a draft unless something that it has changed has changes that it has not seen: then it raises KVL03, and the
-- detail has the units in conflict. The groups are what was seen at one time: all up to a head, without some drafts.
-- Returns the number of the save. The draft's own row comes first: whoever gives it up has done so before, or does it
-- after, but not in between.
CREATE OR REPLACE FUNCTION kvl.commit_draft(
  my_store int8, my_draft int8, my_token bytea, base_save int8, needs_all bool,
  kinds text[], units int8[], groups int8[], heads int8[], opens text[],
  added numeric, removed numeric, new_has_indexes bool,
  new_at int8, new_program bytea, new_note bytea, new_next_object_id int8, new_changed bytea)
RETURNS int8 LANGUAGE plpgsql AS $$
DECLARE
  state kvl.head;
  conflicts text;
  modulus CONSTANT numeric := 340282366920938463463374607431768211456;
BEGIN
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
COMMIT;
)";

} // namespace sto_PostgresSchema
