-- Items of many devices in PostgreSQL: psql -f postgresql.sql
-- An item may come twice; its key keeps it from being stored twice.
CREATE TABLE jorn_items (
    device text NOT NULL,
    log    text NOT NULL,
    epoch  bigint NOT NULL,
    seq    bigint NOT NULL,
    time   bigint NOT NULL,   -- seconds since 1970
    level  integer NOT NULL,
    slot   integer NOT NULL,
    text   text NOT NULL,     -- with U+FFFD in place of bytes that are no UTF-8
    bytes  bytea,             -- the text as it was stored, where it is no UTF-8
    PRIMARY KEY (device, log, epoch, seq)
);
CREATE INDEX jorn_items_by_time ON jorn_items (device, time);
