-- The deals tables, beside the five catalogue tables: settings, consultants, customers, the deals
-- on units and the history of every unit's status. Written for SQLite and rendered for the server
-- like schema.sql (core/db/DialectPostgres.h).
--
-- UTC_TEXT is a point in time in UTC: on SQLite text 'YYYY-MM-DD HH:MM:SS' (the declared type
-- gives the column text affinity), on the server timestamptz. Dates of the office's paperwork
-- (FirstVisit, DepositDate, ContractDate) stay text 'YYYY-MM-DD' on both.

-- Catalogue-wide settings; a missing row means the default (deals::Settings).
CREATE TABLE t_Setting (
    Name  TEXT COLLATE UNICODE_NOCASE PRIMARY KEY,
    Value TEXT COLLATE UNICODE_NOCASE
);

-- The consultants (置业顾问). Login is the server login (or the operating-system account on
-- House.db) that preselects the consultant.
CREATE TABLE t_Consultant (
    ConsultantID   INTEGER PRIMARY KEY AUTOINCREMENT,
    ConsultantName TEXT COLLATE UNICODE_NOCASE NOT NULL UNIQUE,
    Login          TEXT COLLATE UNICODE_NOCASE,
    Active         INTEGER NOT NULL DEFAULT 1
);

-- Phone is kept normalised (digits, a leading + kept); SearchKey is name and phone folded to lower
-- case without white space, for the partial search.
CREATE TABLE t_Customer (
    CustomerID   INTEGER PRIMARY KEY AUTOINCREMENT,
    CustomerName TEXT COLLATE UNICODE_NOCASE NOT NULL,
    Phone        TEXT COLLATE UNICODE_NOCASE,
    ConsultantID INTEGER,
    FirstVisit   TEXT COLLATE UNICODE_NOCASE,
    Source       TEXT COLLATE UNICODE_NOCASE,
    Notes        TEXT COLLATE UNICODE_NOCASE,
    SearchKey    TEXT COLLATE UNICODE_NOCASE
);

-- Stage: hold, deposit, contract while open (Active = 1); cancelled, expired, returned once closed
-- (Active NULL). PriorStatus is the unit's status value before the hold, NULL when it had none.
CREATE TABLE t_Deal (
    DealID       INTEGER PRIMARY KEY AUTOINCREMENT,
    HouseID      INTEGER NOT NULL,
    CustomerID   INTEGER,
    ConsultantID INTEGER,
    Stage        TEXT COLLATE UNICODE_NOCASE NOT NULL,
    Active       INTEGER,
    HoldStart    UTC_TEXT,
    HoldEnd      UTC_TEXT,
    Extensions   INTEGER NOT NULL DEFAULT 0,
    PriorStatus  TEXT COLLATE UNICODE_NOCASE,
    Deposit      TEXT COLLATE UNICODE_NOCASE,
    DepositDate  TEXT COLLATE UNICODE_NOCASE,
    ContractDate TEXT COLLATE UNICODE_NOCASE,
    Reason       TEXT COLLATE UNICODE_NOCASE,
    CreatedAt    UTC_TEXT,
    ClosedAt     UTC_TEXT
);

-- Every change of a unit's status row, written only by the triggers on t_Content. TxID tells the
-- triggers which rows their own transaction wrote (a status row deleted and written again in one
-- save is one change, or none).
CREATE TABLE t_History (
    HistoryID  INTEGER PRIMARY KEY AUTOINCREMENT,
    HouseID    INTEGER,
    ContentID  INTEGER,
    ChangedAt  UTC_TEXT,
    ChangedBy  TEXT COLLATE UNICODE_NOCASE,
    Machine    TEXT COLLATE UNICODE_NOCASE,
    OldValue   TEXT COLLATE UNICODE_NOCASE,
    NewValue   TEXT COLLATE UNICODE_NOCASE,
    CustomerID INTEGER,
    DealID     INTEGER,
    Reason     TEXT COLLATE UNICODE_NOCASE,
    Path       TEXT COLLATE UNICODE_NOCASE,
    TxID       BIGINT
);

-- At most one open deal per unit: the second of two PCs holding one unit at the same moment fails here.
CREATE UNIQUE INDEX ux_Deal_Active ON t_Deal (HouseID) WHERE Active = 1;
-- A phone number names one customer.
CREATE UNIQUE INDEX ux_Customer_Phone ON t_Customer (Phone) WHERE Phone IS NOT NULL AND Phone <> '';
CREATE INDEX ix_Deal_HouseID ON t_Deal (HouseID, DealID);
CREATE INDEX ix_Deal_CustomerID ON t_Deal (CustomerID, DealID);
CREATE INDEX ix_Deal_HoldEnd ON t_Deal (HoldEnd) WHERE Active = 1;
CREATE INDEX ix_Customer_ConsultantID ON t_Customer (ConsultantID);
CREATE INDEX ix_Customer_CustomerName ON t_Customer (CustomerName);
CREATE INDEX ix_History_House ON t_History (HouseID, HistoryID);
CREATE INDEX ix_History_ChangedAt ON t_History (ChangedAt);
