# The configuration of an RTMP server, for scripts and tests. To be sourced by bash.

# nginx_configuration PORT FOLDER RECORDINGS: takes casts at rtmp://127.0.0.1:PORT/live/KEY and
# records them into RECORDINGS/KEY.flv; its own files are in FOLDER.
nginx_configuration() {
    cat <<END
load_module /usr/lib/nginx/modules/ngx_rtmp_module.so;
daemon off; master_process off; worker_processes 1; pid $2/nginx.pid; error_log $2/nginx.log;
events { worker_connections 64; }
rtmp {
    server {
        listen 127.0.0.1:$1;
        application live { live on; record all; record_path $3; record_suffix .flv; }
    }
}
END
}
