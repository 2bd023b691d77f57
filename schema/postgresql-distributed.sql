-- The audit database on a PostgreSQL cluster that distributes tables over
-- worker nodes by a column, through the extension that provides
-- create_distributed_table() and create_reference_table(). Run it once, as
-- the owner of the audit database, on the coordinator of an empty database:
--   psql -d audit -f schema/postgresql-distributed.sql
-- The tables, indexes and views are those of postgresql.sql. The audit tables
-- are distributed by SESSION_ID and placed together, so that every statement
-- the loader runs names one session in its key and reaches one node, and the
-- report's joins on SESSION_ID stay on each node. The dispatcher table, which
-- has no session, and the loader's bookkeeping tables, written once per batch,
-- are reference tables, copied to every node.
\set ON_ERROR_STOP on
\ir postgresql.sql

SELECT create_reference_table('qxes_dispatcher');
SELECT create_distributed_table('qxes_session', 'session_id');
SELECT create_distributed_table('qxes_request', 'session_id', colocate_with => 'qxes_session');
SELECT create_distributed_table('qxes_admin_source', 'session_id', colocate_with => 'qxes_session');
SELECT create_distributed_table('qxes_user_source', 'session_id', colocate_with => 'qxes_session');
SELECT create_distributed_table('qxes_dim_usage', 'session_id', colocate_with => 'qxes_session');
SELECT create_distributed_table('qxes_measure_usage', 'session_id', colocate_with => 'qxes_session');
SELECT create_distributed_table('qxes_level_usage', 'session_id', colocate_with => 'qxes_session');
SELECT create_reference_table('qxes_load_progress');
SELECT create_reference_table('qxes_usage_pending');
