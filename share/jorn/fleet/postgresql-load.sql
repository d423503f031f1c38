-- Stores a batch of JSON Lines from standard input: psql -f postgresql-load.sql
\set QUIET on
\set ON_ERROR_STOP on
BEGIN;
CREATE TEMPORARY TABLE batch (line text NOT NULL) ON COMMIT DROP;
-- Neither character is in JSON, so each line is one field as it stands.
\copy batch FROM PSTDIN WITH (FORMAT csv, DELIMITER E'\x02', QUOTE E'\x01')
INSERT INTO jorn_items
SELECT item ->> 'device', item ->> 'log', (item ->> 'epoch')::bigint, (item ->> 'seq')::bigint,
       (item ->> 'time')::bigint, (item ->> 'level')::integer, (item ->> 'slot')::integer, item ->> 'text',
       decode(item ->> 'text_base64', 'base64')
FROM (SELECT line::json AS item FROM batch) AS items
ON CONFLICT DO NOTHING;
COMMIT;
