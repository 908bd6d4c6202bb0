-- The catalogue's five tables. Keys only grow (AUTOINCREMENT never hands out a deleted key
-- again), text compares without regard to case like the original engine, and every column
-- that joins or filters has an index.
--
-- Text collation: every text column is COLLATE UNICODE_NOCASE, a collation the data layer
-- registers on each connection (core/db/TextCollation.h, kTextCollation): case is ignored for
-- all of Unicode by simple case folding, not only for A to Z. A program that has not registered
-- it (the sqlite3 shell) can read rows but stops with "no such collation sequence" wherever a
-- text column is compared or sorted, or a row written. Version 1 files (text columns with
-- SQLite's ASCII-only NOCASE) are moved to this schema when a connection opens them. Another
-- store renders this name as its own case-insensitive collation.
--
-- Version 3 adds the deals tables (deals.sql) and their triggers beside these five, which stay
-- as they were; a file of version 1 or 2 gets them when a connection opens it.
PRAGMA user_version = 3;

CREATE TABLE t_HouseType (
    TypeID     INTEGER PRIMARY KEY AUTOINCREMENT,
    List       INTEGER,
    HouseType  TEXT COLLATE UNICODE_NOCASE,
    MusicTitle TEXT COLLATE UNICODE_NOCASE,
    MusicFile  TEXT COLLATE UNICODE_NOCASE
);

CREATE TABLE t_House (
    HouseID    INTEGER PRIMARY KEY AUTOINCREMENT,
    HouseName  TEXT COLLATE UNICODE_NOCASE,
    HouseNo    TEXT COLLATE UNICODE_NOCASE,
    Intro      TEXT COLLATE UNICODE_NOCASE,
    HouseFloor INTEGER,
    TypeID     INTEGER
);

CREATE TABLE t_Content (
    ContentID INTEGER PRIMARY KEY AUTOINCREMENT,
    HouseID   INTEGER,
    Caption   TEXT COLLATE UNICODE_NOCASE,
    Content   TEXT COLLATE UNICODE_NOCASE,
    List      INTEGER
);

CREATE TABLE t_Image (
    ImageID   INTEGER PRIMARY KEY AUTOINCREMENT,
    HouseID   INTEGER,
    Caption   TEXT COLLATE UNICODE_NOCASE,
    Intro     TEXT COLLATE UNICODE_NOCASE,
    ImageFile TEXT COLLATE UNICODE_NOCASE,
    List      INTEGER
);

CREATE TABLE t_Content_Auto (
    ContentID INTEGER PRIMARY KEY AUTOINCREMENT,
    TypeID    INTEGER,
    Caption   TEXT COLLATE UNICODE_NOCASE,
    Content   TEXT COLLATE UNICODE_NOCASE
);

CREATE INDEX ix_House_TypeID ON t_House (TypeID);
CREATE INDEX ix_House_HouseName ON t_House (HouseName, TypeID);
CREATE INDEX ix_House_HouseNo ON t_House (HouseNo);
CREATE INDEX ix_Content_HouseID ON t_Content (HouseID, List);
CREATE INDEX ix_Content_Caption ON t_Content (Caption);
CREATE INDEX ix_Content_Content ON t_Content (Content);
CREATE INDEX ix_Image_HouseID ON t_Image (HouseID, List);
CREATE INDEX ix_HouseType_List ON t_HouseType (List);
CREATE INDEX ix_HouseType_HouseType ON t_HouseType (HouseType);
CREATE INDEX ix_Content_Auto_TypeID ON t_Content_Auto (TypeID, ContentID);
