-- The audit database for the embedded SQLite backend. Create a database with
--   sqlite3 audit.db < schema/sqlite.sql
-- Tables with a primary key are clustered on it (WITHOUT ROWID): every
-- lookup of the loader is by key, so one b-tree serves rows and key.
-- Text columns keep their declared widths: the loader reads them to check values.

-- Write-ahead logging from the start: switching a database to it later needs
-- a moment when no other loader is connected.
PRAGMA journal_mode=WAL;

CREATE TABLE IF NOT EXISTS QXES_DISPATCHER (
    SERVER_START_DATE_TIME TIMESTAMP NOT NULL,
    MACHINE_NAME           VARCHAR(255) NOT NULL,
    MACHINE_PORT           INTEGER,
    TIME_ZONE              VARCHAR(64),
    QXES_VERSION           VARCHAR(255),
    LOGFILE_VERSION        INTEGER,
    LOGFILE_GENERATION     INTEGER,
    UNIQUE (SERVER_START_DATE_TIME, MACHINE_NAME, MACHINE_PORT)
);

CREATE TABLE IF NOT EXISTS QXES_SESSION (
    SESSION_ID VARCHAR(64) NOT NULL,
    USER_NAME  VARCHAR(255),
    PRIMARY KEY (SESSION_ID)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS QXES_REQUEST (
    SESSION_ID             VARCHAR(64) NOT NULL,
    REQUEST_ID             VARCHAR(64) NOT NULL,
    START_DATE_TIME        TIMESTAMP,
    END_DATE_TIME          TIMESTAMP,
    REQUEST_STATUS         INTEGER,
    USER_CLASS             VARCHAR(255),
    REDISPATCH             INTEGER,
    REQUEST_TYPE           INTEGER,
    ACTION                 VARCHAR(32),
    MIRRORS                VARCHAR(1024),
    MESSAGE                VARCHAR(2000),
    MACHINE_NAME           VARCHAR(255),
    MACHINE_PORT           INTEGER,
    SERVER_START_DATE_TIME TIMESTAMP,
    PRIMARY KEY (SESSION_ID, REQUEST_ID)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS QXES_ADMIN_SOURCE (
    SESSION_ID  VARCHAR(64) NOT NULL,
    REQUEST_ID  VARCHAR(64) NOT NULL,
    SOURCE_NAME VARCHAR(255),
    SOURCE_TYPE VARCHAR(64),
    PRIMARY KEY (SESSION_ID, REQUEST_ID)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS QXES_USER_SOURCE (
    SESSION_ID      VARCHAR(64) NOT NULL,
    SOURCE_NAME     VARCHAR(255) NOT NULL,
    SOURCE_TYPE     VARCHAR(64) NOT NULL,
    SOURCE_FILENAME VARCHAR(1024),
    PRIMARY KEY (SESSION_ID, SOURCE_NAME, SOURCE_TYPE)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS QXES_DIM_USAGE (
    SESSION_ID VARCHAR(64) NOT NULL,
    REQUEST_ID VARCHAR(64) NOT NULL,
    DIM_CODE   VARCHAR(255) NOT NULL,
    DIM_NAME   VARCHAR(255),
    DIM_COUNT  BIGINT,
    PRIMARY KEY (SESSION_ID, REQUEST_ID, DIM_CODE)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS QXES_MEASURE_USAGE (
    SESSION_ID    VARCHAR(64) NOT NULL,
    REQUEST_ID    VARCHAR(64) NOT NULL,
    MEASURE_CODE  VARCHAR(255) NOT NULL,
    MEASURE_NAME  VARCHAR(255),
    MEASURE_COUNT BIGINT,
    PRIMARY KEY (SESSION_ID, REQUEST_ID, MEASURE_CODE)
) WITHOUT ROWID;

CREATE TABLE IF NOT EXISTS QXES_LEVEL_USAGE (
    SESSION_ID  VARCHAR(64) NOT NULL,
    REQUEST_ID  VARCHAR(64) NOT NULL,
    DIM_CODE    VARCHAR(255) NOT NULL,
    LEVEL_CODE  VARCHAR(255) NOT NULL,
    LEVEL_NAME  VARCHAR(255),
    LEVEL_COUNT BIGINT,
    PRIMARY KEY (SESSION_ID, REQUEST_ID, DIM_CODE, LEVEL_CODE)
) WITHOUT ROWID;

-- Indexes for the questions administrators ask: requests by time, sessions
-- by user, sources and dimensions by name. The report reads requests of a
-- period through QXES_REQUEST_START and reaches their sessions and usage rows
-- by key. The level and measure usage tables, the largest, get no name index:
-- each would cost the loader a random insert for every row it writes.
-- Running this file again on an older database adds them.
CREATE INDEX IF NOT EXISTS QXES_REQUEST_START ON QXES_REQUEST (START_DATE_TIME);
CREATE INDEX IF NOT EXISTS QXES_SESSION_USER ON QXES_SESSION (USER_NAME);
CREATE INDEX IF NOT EXISTS QXES_USER_SOURCE_NAME ON QXES_USER_SOURCE (SOURCE_NAME, SOURCE_TYPE);
CREATE INDEX IF NOT EXISTS QXES_DIM_USAGE_NAME ON QXES_DIM_USAGE (DIM_NAME);

-- Each request with what is worked out by hand otherwise: its day
-- (YYYY-MM-DD) and hour of the day, its duration in milliseconds (null while
-- it has no end), its user, and its outcome: 'success', 'failure', or 'open'
-- while no outcome has come.
CREATE VIEW IF NOT EXISTS QXES_REQUEST_FACTS AS
SELECT r.SESSION_ID,
       r.REQUEST_ID,
       r.START_DATE_TIME,
       r.END_DATE_TIME,
       date(r.START_DATE_TIME) AS REQUEST_DAY,
       CAST(strftime('%H', r.START_DATE_TIME) AS INTEGER) AS REQUEST_HOUR,
       CAST(ROUND((julianday(r.END_DATE_TIME) - julianday(r.START_DATE_TIME)) * 86400000)
           AS INTEGER) AS DURATION_MS,
       s.USER_NAME,
       r.USER_CLASS,
       r.REQUEST_TYPE,
       r.ACTION,
       CASE r.REQUEST_STATUS WHEN 1 THEN 'success' WHEN 0 THEN 'failure' ELSE 'open' END
           AS OUTCOME,
       r.MESSAGE,
       r.MACHINE_NAME,
       r.MACHINE_PORT
FROM QXES_REQUEST r
LEFT JOIN QXES_SESSION s ON s.SESSION_ID = r.SESSION_ID;

-- Daily figures per user.
CREATE VIEW IF NOT EXISTS QXES_USER_DAILY AS
SELECT REQUEST_DAY,
       USER_NAME,
       COUNT(*) AS REQUESTS,
       SUM(CASE WHEN OUTCOME = 'failure' THEN 1 ELSE 0 END) AS FAILURES,
       SUM(DURATION_MS) AS TOTAL_DURATION_MS,
       MAX(DURATION_MS) AS LONGEST_DURATION_MS
FROM QXES_REQUEST_FACTS
GROUP BY REQUEST_DAY, USER_NAME;

-- Daily figures per data source. Sources are recorded per session, so a
-- source's requests are those of the sessions that opened it.
CREATE VIEW IF NOT EXISTS QXES_SOURCE_DAILY AS
SELECT f.REQUEST_DAY,
       u.SOURCE_NAME,
       u.SOURCE_TYPE,
       COUNT(DISTINCT f.SESSION_ID) AS SESSIONS,
       COUNT(*) AS REQUESTS,
       SUM(CASE WHEN f.OUTCOME = 'failure' THEN 1 ELSE 0 END) AS FAILURES
FROM QXES_USER_SOURCE u
JOIN QXES_REQUEST_FACTS f ON f.SESSION_ID = u.SESSION_ID
GROUP BY f.REQUEST_DAY, u.SOURCE_NAME, u.SOURCE_TYPE;

-- The loader's own bookkeeping, written in the same transaction as the rows
-- of each batch. How far each audit file is loaded: the file is named by its
-- server name (without resume number) and a digest of its first two lines.
CREATE TABLE IF NOT EXISTS QXES_LOAD_PROGRESS (
    FILE_NAME   TEXT NOT NULL,
    FILE_DIGEST TEXT NOT NULL,
    LAST_LINE   BIGINT NOT NULL,
    FILE_OFFSET BIGINT NOT NULL,
    LOADED      INTEGER NOT NULL,
    UPDATED_AT  TIMESTAMP,
    PRIMARY KEY (FILE_NAME, FILE_DIGEST)
);

-- The usage codes and names of requests whose counts line has not come yet,
-- by session and request identifier joined.
CREATE TABLE IF NOT EXISTS QXES_USAGE_PENDING (
    REQUEST_KEY TEXT NOT NULL,
    USAGE_CODES TEXT,
    USAGE_NAMES TEXT,
    SAVED_AT    TIMESTAMP,
    PRIMARY KEY (REQUEST_KEY)
);
