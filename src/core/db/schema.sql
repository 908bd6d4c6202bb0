-- The catalogue's five tables. Keys only grow (AUTOINCREMENT never hands out a deleted key
-- again), text compares without regard to case like the original engine, and every column
-- that joins or filters has an index.
PRAGMA user_version = 1;

CREATE TABLE t_HouseType (
    TypeID     INTEGER PRIMARY KEY AUTOINCREMENT,
    List       INTEGER,
    HouseType  TEXT COLLATE NOCASE,
    MusicTitle TEXT COLLATE NOCASE,
    MusicFile  TEXT COLLATE NOCASE
);

CREATE TABLE t_House (
    HouseID    INTEGER PRIMARY KEY AUTOINCREMENT,
    HouseName  TEXT COLLATE NOCASE,
    HouseNo    TEXT COLLATE NOCASE,
    Intro      TEXT COLLATE NOCASE,
    HouseFloor INTEGER,
    TypeID     INTEGER
);

CREATE TABLE t_Content (
    ContentID INTEGER PRIMARY KEY AUTOINCREMENT,
    HouseID   INTEGER,
    Caption   TEXT COLLATE NOCASE,
    Content   TEXT COLLATE NOCASE,
    List      INTEGER
);

CREATE TABLE t_Image (
    ImageID   INTEGER PRIMARY KEY AUTOINCREMENT,
    HouseID   INTEGER,
    Caption   TEXT COLLATE NOCASE,
    Intro     TEXT COLLATE NOCASE,
    ImageFile TEXT COLLATE NOCASE,
    List      INTEGER
);

CREATE TABLE t_Content_Auto (
    ContentID INTEGER PRIMARY KEY AUTOINCREMENT,
    TypeID    INTEGER,
    Caption   TEXT COLLATE NOCASE,
    Content   TEXT COLLATE NOCASE
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
